#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>

#include "print/output.h"

namespace msg_tarvel::tool {

/** The commands that can be typed: each is declared with what it runs. */
class CommandSet {
 public:
  /** Returns an exit status, FOUND or NOTHING_FOUND; throws Failure, UsageError or Interrupted. */
  using Command = std::function<int(const Output&)>;

  explicit CommandSet(CLI::App& program) : _program(program) {}

  /** A new command, of the group if one is given; it has the option --json. */
  CLI::App& add(const std::string& name, const std::string& description, const std::string& example,
                Command command, CLI::App* group = nullptr);
  /** A word before commands of its own. */
  CLI::App& addGroup(const std::string& name, const std::string& description,
                     const std::string& example);

  bool wantsJson() const { return _json; }
  /** Runs the command that was typed; its exit status. */
  int runChosen(const Output& output) const;

 private:
  CLI::App& _program;
  bool _json = false;
  std::map<const CLI::App*, Command> _commands;
};

}  // namespace msg_tarvel::tool
