// A process that has no store of the watch: it calls the owner on the session bus. Prints the reply
// and ends with 0, or the error and ends with 1; with 2 when it was called wrongly.

#include <gio/gio.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <msg-tarvel-common/ipc/MsgIPC.h>

#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bus_names.h"
#include "helpers/record_mapping.h"
#include "helpers/transaction.h"

namespace {

using msg_tarvel::Message;
using msg_tarvel::MsgIPC;
namespace db = msg_tarvel::db;
namespace handover = msg_tarvel::handover;
namespace helpers = msg_tarvel::helpers;

constexpr const char* USAGE =
    "usage: example-handover-client hand-over MSGID [CONVID]\n"
    "         hands a message of this process's store to the owner of the other store,\n"
    "         into its conversation CONVID or the one with the message's addresses\n"
    "       example-handover-client METHOD PARAMETER...\n"
    "         calls a method of the registry; texts stand as they are, the rest in\n"
    "         GLib's text format: 5, true, \"<'text'>\", \"<[byte 0x54, 0x00]>\"\n";

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** A parameter of `type` from the command line; the caller's. */
GVariant* parse_parameter(const GVariantType* type, const std::string& text) {
  if (g_variant_type_equal(type, G_VARIANT_TYPE_STRING)) {
    if (!g_utf8_validate(text.c_str(), -1, nullptr)) throw UsageError("a text is not UTF-8");
    return g_variant_ref_sink(g_variant_new_string(text.c_str()));
  }
  g_autoptr(GError) error = nullptr;
  GVariant* const value = g_variant_parse(type, text.c_str(), nullptr, nullptr, &error);
  if (!value) throw UsageError("\"" + text + "\": " + error->message);
  return value;
}

int parse_id(const std::string& text) {
  g_autoptr(GVariant) id = parse_parameter(G_VARIANT_TYPE_INT32, text);
  return g_variant_get_int32(id);
}

/** The parameters of a command, by the signature that the registry gives. */
GVariant* parse_parameters(const MsgIPC& registry, MsgIPC::IpcCommand command,
                           const std::vector<std::string>& texts) {
  const unsigned int count = registry.getCmdStructLenth(command);
  if (texts.size() != count) {
    throw UsageError(registry.getCmdString(command) + " takes " + std::to_string(count) +
                     " parameters");
  }
  const std::string wrapped = registry.getCmdStruct(command);
  const GVariantType* type =
      g_variant_type_first(g_variant_type_first(G_VARIANT_TYPE(wrapped.c_str())));
  GVariantBuilder tuple;
  g_variant_builder_init(&tuple, G_VARIANT_TYPE_TUPLE);
  try {
    for (const std::string& text : texts) {
      g_autoptr(GVariant) parameter = parse_parameter(type, text);
      g_variant_builder_add_value(&tuple, parameter);
      type = g_variant_type_next(type);
    }
  } catch (...) {
    g_variant_builder_clear(&tuple);
    throw;
  }
  return g_variant_builder_end(&tuple);
}

/** A message of this process's own store. */
Message read_message(int msgId) {
  const helpers::StoreSession session;
  Message message;
  const int ret = db::db_get_message(msgId, message);
  if (ret != db::DB_SUCCESS) {
    throw std::runtime_error((ret == db::DB_NO_DATA ? "there is no message "
                                                    : "the store cannot be asked for message ") +
                             std::to_string(msgId));
  }
  return message;
}

GVariant* handover_parameters(int msgId, int convId) {
  const std::string buffer = helpers::to_buffer(read_message(msgId));
  GVariant* const bytes =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, buffer.data(), buffer.size(), sizeof(char));
  return g_variant_new("(vi)", bytes, convId);
}

/** Calls the owner with `parameters`, which it takes; the reply as GLib prints it. */
std::string call(const std::string& method, GVariant* parameters) {
  g_autoptr(GVariant) sent = g_variant_ref_sink(parameters);
  g_autoptr(GError) error = nullptr;
  g_autoptr(GDBusConnection) bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
  g_autoptr(GVariant) reply =
      bus ? g_dbus_connection_call_sync(bus, handover::BUS_NAME, handover::OBJECT_PATH,
                                        handover::INTERFACE, method.c_str(), sent, nullptr,
                                        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error)
          : nullptr;
  if (!reply) throw std::runtime_error(error->message);
  g_autofree char* text = g_variant_print(reply, FALSE);
  return text;
}

std::string run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw UsageError("no command");
  const MsgIPC registry;
  const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
  if (arguments.front() == "hand-over") {
    if (rest.empty() || rest.size() > 2) throw UsageError("hand-over takes one or two parameters");
    const int msgId = parse_id(rest[0]);
    const int convId = rest.size() == 2 ? parse_id(rest[1]) : 0;
    return call(registry.getCmdString(MsgIPC::NMS_ADD_MESSAGE), handover_parameters(msgId, convId));
  }
  const auto command = registry.getCmdByMethodName(arguments.front());
  if (command == MsgIPC::IPC_COMMAND_NONE) {
    throw UsageError(arguments.front() + ": no method of the registry");
  }
  return call(registry.getCmdString(command), parse_parameters(registry, command, rest));
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::cout << run({argv + 1, argv + argc}) << "\n";
    return 0;
  } catch (const UsageError& error) {
    std::cerr << error.what() << "\n" << USAGE;
    return 2;
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
}
