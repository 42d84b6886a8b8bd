#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "commands/command_set.h"

namespace msg_tarvel::tool {

/** The command line of msg-tarvel: what can be typed, and which exit status comes of it. */
class CommandLine {
 public:
  CommandLine();

  /** Runs what `argv` asks for; its exit status. */
  int run(int argc, char** argv);

  /** Every command and option, for what is written about them. */
  const CLI::App& definition() const { return _app; }

 private:
  void useDataDir() const;
  int _exit(const CLI::ParseError& error) const;

  CLI::App _app{"Makes, fills and asks a message store."};
  CommandSet _commands{_app};
  std::string _dataDir;
  bool _json = false;
  bool _verbose = false;
};

}  // namespace msg_tarvel::tool
