// Prints the man page or the completion of msg-tarvel. A part of the build, never installed: what
// it prints is kept in tool/, so that a build for another machine need not run it.

#include <cstring>
#include <iostream>

#include "command_line.h"
#include "describe/description.h"

int main(int argc, char** argv) {
  using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace): a part of the tool
  const CommandLine commandLine;
  if (argc == 2 && std::strcmp(argv[1], "man") == 0) {
    print_man_page(std::cout, commandLine.definition());
  } else if (argc == 2 && std::strcmp(argv[1], "bash") == 0) {
    print_bash_completion(std::cout, commandLine.definition());
  } else {
    std::cerr << "usage: msg-tarvel-describe man|bash\n";
    return 2;
  }
  return std::cout.flush() ? 0 : 1;
}
