// Prints the man page or a completion of msg-tarvel. A part of the build, never installed: what it
// prints is kept in tool/, so that a build for another machine need not run it.

#include <cstring>
#include <iostream>

#include "command_line.h"
#include "describe/description.h"

namespace {

using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace): a part of the tool

struct Kind {
  const char* name;
  void (*print)(std::ostream& out, const CLI::App& program);
};

constexpr Kind KINDS[] = {
    {"man", print_man_page},
    {"bash", print_bash_completion},
    {"fish", print_fish_completion},
    {"zsh", print_zsh_completion},
};

}  // namespace

int main(int argc, char** argv) {
  const CommandLine commandLine;
  for (const Kind& kind : KINDS) {
    if (argc != 2 || std::strcmp(argv[1], kind.name) != 0) continue;
    kind.print(std::cout, commandLine.definition());
    return std::cout.flush() ? 0 : 1;
  }
  std::cerr << "usage: msg-tarvel-describe man|bash|fish|zsh\n";
  return 2;
}
