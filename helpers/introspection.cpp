#include "helpers/introspection.h"

#include <vector>

namespace msg_tarvel::helpers {

namespace {

constexpr const char* HEAD =
    "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
    "  \"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n";

/** What parameters mean, where that is settled; the registry fixes no more than the types. */
struct NamedParameters {
  MsgIPC::IpcCommand command;
  std::vector<const char*> names;
};

const std::vector<NamedParameters>& named_parameters() {
  static const std::vector<NamedParameters> all = {
      {MsgIPC::READ_MESSAGE, {"msgId", "convId"}},
      {MsgIPC::READ_THREAD, {"convId"}},
      {MsgIPC::DELETE_MESSAGE, {"msgId", "convId"}},
      {MsgIPC::DELETE_THREAD, {"convId"}},
      {MsgIPC::ADD_MESSAGE,
       {"address", "storageFolder", "msgType", "mainText", "textMessage", "simIndex"}},
      {MsgIPC::NMS_ADD_MESSAGE, {"message", "convId"}},
      {MsgIPC::NMS_UPDATE_SUBSCRIPTION_INFO, {"notiIdx", "restartToken"}},
  };
  return all;
}

std::string parameter_name(MsgIPC::IpcCommand command, std::size_t position) {
  for (const NamedParameters& named : named_parameters()) {
    if (named.command == command) return named.names.at(position);
  }
  return "parameter" + std::to_string(position + 1);
}

/** What goes out with a reply; nothing when a command only does something. */
bool replies_with_id(MsgIPC::IpcCommand command) {
  return command == MsgIPC::ADD_MESSAGE || command == MsgIPC::NMS_ADD_MESSAGE;
}

std::string argument(const std::string& direction, const std::string& name, char type) {
  return "      <arg direction=\"" + direction + "\" name=\"" + name + "\" type=\"" +
         std::string(1, type) + "\"/>\n";
}

std::string method(const MsgIPC& registry, MsgIPC::IpcCommand command) {
  std::string arguments;
  // Twice wrapped, and each type in it is one letter.
  const std::string types = registry.getCmdStruct(command);
  for (std::size_t i = 0; i < registry.getCmdStructLenth(command); ++i) {
    arguments += argument("in", parameter_name(command, i), types[i + 2]);
  }
  if (replies_with_id(command)) arguments += argument("out", "newMsgId", 'i');
  const std::string start = "    <method name=\"" + registry.getCmdString(command) + "\"";
  return arguments.empty() ? start + "/>\n" : start + ">\n" + arguments + "    </method>\n";
}

}  // namespace

std::string introspection_xml(const MsgIPC& registry) {
  std::string xml = HEAD + std::string("<node>\n  <interface name=\"") + OWNER_INTERFACE + "\">\n";
  for (int number = 0; number < MsgIPC::IPC_COMMAND_NONE; ++number) {
    const auto command = static_cast<MsgIPC::IpcCommand>(number);
    if (!registry.getCmdString(command).empty()) xml += method(registry, command);
  }
  return xml + "  </interface>\n</node>\n";
}

}  // namespace msg_tarvel::helpers
