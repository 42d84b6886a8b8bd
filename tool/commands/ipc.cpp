// msg-tarvel ipc: what processes send each other.

#include <msg-tarvel-common/ipc/MsgIPC.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "helpers/introspection.h"
#include "print/json.h"
#include "print/remark.h"
#include "print/table.h"

namespace msg_tarvel::tool {

namespace {

constexpr int NUMBER_BASE = 10;

/** Columns of the table. */
constexpr std::size_t METHOD = 1;
constexpr std::size_t PARAMETERS = 3;

struct IpcArguments {
  /** The one command that is asked for; empty for all. */
  std::string nameOrNumber;
  bool asIntrospection = false;
};

/** The numbers below the registry's bound that are commands, or the one that is asked for. */
std::vector<MsgIPC::IpcCommand> chosen_commands(const MsgIPC& registry, const std::string& choice) {
  char* end = nullptr;
  const long number = std::strtol(choice.c_str(), &end, NUMBER_BASE);
  const bool isNumber = !choice.empty() && *end == '\0';
  if (!choice.empty() && !isNumber) {
    const MsgIPC::IpcCommand command = registry.getCmdByMethodName(choice);
    if (command == MsgIPC::IPC_COMMAND_NONE) return {};
    return {command};
  }
  std::vector<MsgIPC::IpcCommand> commands;
  for (int i = 0; i < MsgIPC::IPC_COMMAND_NONE; ++i) {
    const auto command = static_cast<MsgIPC::IpcCommand>(i);
    if ((!isNumber || number == i) && !registry.getCmdString(command).empty()) {
      commands.push_back(command);
    }
  }
  return commands;
}

int print_introspection(const Output& output, const IpcArguments& arguments) {
  if (output.json || !arguments.nameOrNumber.empty()) {
    throw UsageError("ipc: --introspection is XML, of the whole interface");
  }
  output.out << helpers::introspection_xml(MsgIPC());
  return FOUND;
}

int list_ipc_commands(const Output& output, const IpcArguments& arguments) {
  if (arguments.asIntrospection) return print_introspection(output, arguments);
  const MsgIPC registry;
  Json list = Json::array();
  Table table({{"NUMBER", true}, {"METHOD"}, {"SIGNATURE"}, {"PARAMETERS", true}},
              {{PARAMETERS, 0}, {METHOD, 24}});
  const std::vector<MsgIPC::IpcCommand> commands =
      chosen_commands(registry, arguments.nameOrNumber);
  for (const MsgIPC::IpcCommand command : commands) {
    const std::string name = registry.getCmdString(command);
    const std::string wrapped = registry.getCmdStruct(command);
    const std::string signature = wrapped.substr(1, wrapped.size() - 2);
    const unsigned int parameters = registry.getCmdStructLenth(command);
    list.push_back({{"number", static_cast<int>(command)},
                    {"method", name},
                    {"signature", signature},
                    {"struct", wrapped},
                    {"parameters", parameters}});
    table.add({std::to_string(command), name, signature, std::to_string(parameters)});
  }
  if (output.json) {
    print_json(output, list);
  } else if (!commands.empty()) {
    table.print(output.out, output.width);
  }
  return commands.empty() ? nothing_found("there is no command '" + arguments.nameOrNumber + "'")
                          : FOUND;
}

}  // namespace

void declare_ipc(CommandSet& commands) {
  const auto arguments = std::make_shared<IpcArguments>();
  CLI::App& app = commands.add(
      "ipc", "Lists the commands that processes send each other", "msg-tarvel ipc nms_add_message",
      [arguments](const Output& output) { return list_ipc_commands(output, *arguments); });
  app.add_option("NAME|NUMBER", arguments->nameOrNumber, "Only this one");
  app.add_flag("--introspection", arguments->asIntrospection,
               "Print D-Bus introspection XML, as gdbus-codegen takes it");
}

}  // namespace msg_tarvel::tool
