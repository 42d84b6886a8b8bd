#pragma once

// A program that runs while a test goes on: a server, or one of many clients.

#include <string>
#include <vector>

#include "support/processes.h"

namespace msg_tarvel {

class BackgroundProgram {
 public:
  /** Starts `command` with `environment` ("NAME=value") on top of this process's own. */
  explicit BackgroundProgram(const std::vector<std::string>& command,
                             const std::vector<std::string>& environment = {});
  BackgroundProgram(const BackgroundProgram&) = delete;
  BackgroundProgram& operator=(const BackgroundProgram&) = delete;
  /** Kills the program if it is still there. */
  ~BackgroundProgram();

  /** Waits for a line of its standard output; what there is when the output ends before. */
  std::string line();
  pid_t pid() const { return _child.pid(); }
  void terminate() const;
  /** Waits for its end: the exit status, or 128 + the signal that ended it, and what is left of its
   * standard output. */
  ProcessResult finish();

 private:
  int _output[2] = {-1, -1};
  Child _child;
};

}  // namespace msg_tarvel
