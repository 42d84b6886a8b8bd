#pragma once

#include <array>
#include <climits>
#include <streambuf>

namespace msg_tarvel::tool {

/**
 * An open file that is written by who has something to undo: neither a reader who takes nothing nor
 * one who is gone ends the program or holds it. Once it is interrupted nothing more is written.
 * Within an InterruptGuard.
 */
class InterruptibleOutput : public std::streambuf {
 public:
  explicit InterruptibleOutput(int descriptor);

 protected:
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  bool _isReady() const;

  const int _descriptor;
  /** As much as goes into a pipe at once that has room. */
  std::array<char, PIPE_BUF> _buffer{};
};

}  // namespace msg_tarvel::tool
