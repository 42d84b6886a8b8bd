#pragma once

#include <cstddef>
#include <string>

namespace msg_tarvel::tool {

/** Whether XML takes it for a blank. */
inline bool is_blank(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

/**
 * Lets the beginning of a long text pass to a parser, and of the rest, which is dropped, only the
 * first character that the parser must complain of. Neither a character nor a reference is cut.
 */
class Passage {
 public:
  /** A text begins, of which about `most` bytes may pass. */
  void begin(std::size_t most);
  /** As many more may. */
  void extend(std::size_t more) { _left += more; }
  /** Whether all of a piece of the text may pass as it is, which it then counts as having done. */
  bool passes(std::size_t size);
  /** Appends what may pass of a piece. */
  void pass(const char* begin, const char* end, std::string& out);
  bool isCut() const { return _isCut; }
  /** How many line ends were dropped since this was last asked. */
  long takeDroppedLines();

 private:
  bool _mayCutBefore(char character);
  void _drop(char character, std::string& out);

  std::size_t _left = 0;
  bool _isCut = false;
  /** How far the text has passed beyond its end, and its last reference before that. */
  std::size_t _overrun = 0;
  std::size_t _sinceAmpersand = 0;
  bool _isErrorPassed = false;
  long _droppedLines = 0;
};

}  // namespace msg_tarvel::tool
