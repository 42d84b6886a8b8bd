#include "support/background_program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>

namespace msg_tarvel {

namespace {

int run(const std::vector<std::string>& command, const std::vector<std::string>& environment,
        int output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves no server behind
  dup2(output, STDOUT_FILENO);
  for (const std::string& variable : environment) {
    const std::size_t equals = variable.find('=');
    setenv(variable.substr(0, equals).c_str(), variable.c_str() + equals + 1, 1);
  }
  execute(command);
  return 127;
}

int* open_pipe(int (&ends)[2]) {
  if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
  return ends;
}

}  // namespace

BackgroundProgram::BackgroundProgram(const std::vector<std::string>& command,
                                     const std::vector<std::string>& environment)
    : _child([&, output = open_pipe(_output)] { return run(command, environment, output[1]); }) {
  close(_output[1]);
}

BackgroundProgram::~BackgroundProgram() { close(_output[0]); }

std::string BackgroundProgram::line() {
  std::string text;
  char character = 0;
  while (read(_output[0], &character, 1) == 1 && character != '\n') text += character;
  return text;
}

void BackgroundProgram::terminate() const { kill(_child.pid(), SIGTERM); }

ProcessResult BackgroundProgram::finish() {
  ProcessResult result;
  char buffer[4096];
  for (ssize_t count = read(_output[0], buffer, sizeof buffer); count > 0;
       count = read(_output[0], buffer, sizeof buffer)) {
    result.out.append(buffer, static_cast<std::size_t>(count));
  }
  result.status = _child.wait();
  return result;
}

}  // namespace msg_tarvel
