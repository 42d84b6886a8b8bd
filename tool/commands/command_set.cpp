#include "commands/command_set.h"

#include <utility>

namespace msg_tarvel::tool {

CLI::App& CommandSet::add(const std::string& name, const std::string& description,
                          const std::string& example, Command command, CLI::App* group) {
  CLI::App& app = *(group ? group : &_program)->add_subcommand(name, description);
  app.add_flag("--json", _json, "Print JSON, every field as it is stored");
  app.footer("Example: " + example);
  _commands[&app] = std::move(command);
  return app;
}

CLI::App& CommandSet::addGroup(const std::string& name, const std::string& description,
                               const std::string& example) {
  CLI::App& app = *_program.add_subcommand(name, description);
  app.require_subcommand(1);
  app.footer("Example: " + example);
  return app;
}

int CommandSet::runChosen(const Output& output) const {
  const CLI::App* chosen = &_program;
  while (!chosen->get_subcommands().empty()) chosen = chosen->get_subcommands().front();
  return _commands.at(chosen)(output);
}

}  // namespace msg_tarvel::tool
