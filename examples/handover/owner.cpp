// The process that owns the message store, on the session bus: it makes the store and carries out
// the commands that need nothing but the store. It prints "ready" when it can be called and ends on
// SIGTERM or SIGINT.

#include <gio/gio.h>
#include <glib-unix.h>
#include <msg-tarvel-common/ipc/MsgIPC.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

#include "bus_names.h"
#include "helpers/folders.h"
#include "helpers/introspection.h"
#include "helpers/record_mapping.h"
#include "helpers/same_address.h"
#include "helpers/store_error.h"
#include "helpers/store_maker.h"
#include "helpers/store_writer.h"
#include "helpers/transaction.h"

namespace {

using msg_tarvel::Message;
using msg_tarvel::MsgIPC;
namespace handover = msg_tarvel::handover;
namespace helpers = msg_tarvel::helpers;

/** A command of the registry that this process has no answer to. */
class NotServed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** Carries out `work` as one transaction: it happens as a whole or, when this throws, not at all.
 */
template <typename Work>
void write_store(const Work& work) {
  helpers::Transaction transaction;
  helpers::StoreWriter writer;
  work(writer);
  writer.updateConversations();
  transaction.commit();
}

/** Into the conversation `convId`; for 0, into the one of the message's addresses. Its new id. */
int store_message(const Message& message, int convId) {
  int msgId = 0;
  write_store([&](helpers::StoreWriter& writer) {
    if (convId != 0) {
      writer.requireConversation(convId);
    } else if (message.addresses.empty()) {
      throw std::invalid_argument("a message without addresses needs a conversation");
    }
    msgId = writer.addMessage(convId != 0 ? convId : writer.conversationOf(message), message);
  });
  return msgId;
}

int add_message(GVariant* parameters) {
  const char* address = nullptr;
  const char* msgType = nullptr;
  const char* mainText = nullptr;
  const char* textMessage = nullptr;
  Message message;
  g_variant_get(parameters, "(&si&s&s&si)", &address, &message.storageFolder, &msgType, &mainText,
                &textMessage, &message.simIndex);
  msg_tarvel::Address participant;
  participant.address = helpers::normalised_address(address);
  if (participant.address.empty()) throw std::invalid_argument("a message needs an address");
  participant.addressType = helpers::address_type_of(participant.address);
  participant.recipientType = 1;
  message.addresses.push_back(participant);
  message.msgType = msgType;
  message.mainText = mainText;
  message.textMessage = textMessage;
  message.displayTime = g_get_real_time() / 1000;
  message.read = !helpers::is_inbox(message.storageFolder);
  return store_message(message, 0);
}

/** Another process made the buffer, so nothing in it is believed before it has been checked. */
int add_handed_over_message(GVariant* parameters) {
  g_autoptr(GVariant) content = nullptr;
  gint32 convId = 0;
  g_variant_get(parameters, "(vi)", &content, &convId);
  if (!g_variant_is_of_type(content, G_VARIANT_TYPE_BYTESTRING)) {
    throw std::invalid_argument(std::string("the message is to be a byte array (ay), not ") +
                                g_variant_get_type_string(content));
  }
  gsize size = 0;
  const auto* const buffer =
      static_cast<const char*>(g_variant_get_fixed_array(content, &size, sizeof(char)));
  const helpers::MessageRecord record = helpers::read_record(buffer, size);
  if (!record) {
    throw std::invalid_argument("the " + std::to_string(size) +
                                " bytes are not one well-formed message");
  }
  return store_message(helpers::to_message(*record), convId);
}

/** Carries a command out; its reply, null for none. The parameters are of the command's type. */
GVariant* carry_out(MsgIPC::IpcCommand command, GVariant* parameters) {
  gint32 first = 0;
  gint32 second = 0;
  switch (command) {
    case MsgIPC::READ_MESSAGE:
      g_variant_get(parameters, "(ii)", &first, &second);
      write_store([&](auto& writer) { writer.markMessageRead(first, second); });
      return nullptr;
    case MsgIPC::READ_THREAD:
      g_variant_get(parameters, "(i)", &first);
      write_store([&](auto& writer) { writer.markThreadRead(first); });
      return nullptr;
    case MsgIPC::DELETE_MESSAGE:
      g_variant_get(parameters, "(ii)", &first, &second);
      write_store([&](auto& writer) { writer.deleteMessage(first, second); });
      return nullptr;
    case MsgIPC::DELETE_THREAD:
      g_variant_get(parameters, "(i)", &first);
      write_store([&](auto& writer) { writer.deleteThread(first); });
      return nullptr;
    case MsgIPC::ADD_MESSAGE:
      return g_variant_new("(i)", add_message(parameters));
    case MsgIPC::NMS_ADD_MESSAGE:
      return g_variant_new("(i)", add_handed_over_message(parameters));
    case MsgIPC::NMS_UPDATE_SUBSCRIPTION_INFO: {
      guint64 notiIdx = 0;
      const char* restartToken = nullptr;
      g_variant_get(parameters, "(t&s)", &notiIdx, &restartToken);
      write_store([&](auto& writer) { writer.updateSubscription(notiIdx, restartToken); });
      return nullptr;
    }
    default:
      throw NotServed("the message store alone cannot answer this command");
  }
}

/** Called for methods of the interface only, with parameters of the right type. */
void on_call(GDBusConnection* /*bus*/, const gchar* /*sender*/, const gchar* /*path*/,
             const gchar* /*interface*/, const gchar* method, GVariant* parameters,
             GDBusMethodInvocation* invocation, gpointer registry) {
  const auto refuse = [&](GDBusError code, const char* why) {
    g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, code, "%s: %s", method, why);
  };
  try {
    const auto command = static_cast<const MsgIPC*>(registry)->getCmdByMethodName(method);
    GVariant* const reply = carry_out(command, parameters);
    g_dbus_method_invocation_return_value(invocation, reply);
  } catch (const NotServed& error) {
    refuse(G_DBUS_ERROR_NOT_SUPPORTED, error.what());
  } catch (const std::invalid_argument& error) {
    refuse(G_DBUS_ERROR_INVALID_ARGS, error.what());
  } catch (const helpers::UnknownOutcome&) {
    refuse(G_DBUS_ERROR_FAILED, "the commit failed; it is unknown whether this was done");
  } catch (const helpers::StoreError& error) {
    refuse(G_DBUS_ERROR_FAILED, (std::string(error.what()) + ", see the owner's log").c_str());
  } catch (const std::bad_alloc&) {
    refuse(G_DBUS_ERROR_NO_MEMORY, "out of memory");
  } catch (const std::exception& error) {
    refuse(G_DBUS_ERROR_FAILED, error.what());
  }
}

struct Service {
  GMainLoop* loop = nullptr;
  int status = EXIT_SUCCESS;
};

void on_name_owned(GDBusConnection* /*bus*/, const gchar* /*name*/, gpointer /*service*/) {
  std::cout << "ready" << std::endl;
}

void on_name_lost(GDBusConnection* /*bus*/, const gchar* name, gpointer service) {
  std::cerr << name << " belongs to another process, or the bus is gone\n";
  static_cast<Service*>(service)->status = EXIT_FAILURE;
  g_main_loop_quit(static_cast<Service*>(service)->loop);
}

gboolean on_signal(gpointer service) {
  g_main_loop_quit(static_cast<Service*>(service)->loop);
  return G_SOURCE_CONTINUE;
}

int fail(const char* what, const char* why) {
  std::cerr << what << ": " << why << "\n";
  return EXIT_FAILURE;
}

/** Serves the bus until a signal comes or the name is lost. */
int serve() {
  g_autoptr(GError) error = nullptr;
  g_autoptr(GDBusConnection) bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
  if (!bus) return fail("cannot reach the bus", error->message);
  g_dbus_connection_set_exit_on_close(bus, FALSE);

  MsgIPC registry;
  g_autoptr(GDBusNodeInfo) node =
      g_dbus_node_info_new_for_xml(helpers::introspection_xml(registry).c_str(), &error);
  if (!node) return fail("cannot describe the interface", error->message);
  const GDBusInterfaceVTable table = {on_call, nullptr, nullptr, {}};
  const guint object = g_dbus_connection_register_object(
      bus, handover::OBJECT_PATH, *node->interfaces, &table, &registry, nullptr, &error);
  if (object == 0) return fail("cannot register the object", error->message);

  g_autoptr(GMainLoop) loop = g_main_loop_new(nullptr, FALSE);
  Service service = {loop};
  const guint signals[] = {g_unix_signal_add(SIGTERM, on_signal, &service),
                           g_unix_signal_add(SIGINT, on_signal, &service)};
  const guint name =
      g_bus_own_name_on_connection(bus, handover::BUS_NAME, G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE,
                                   on_name_owned, on_name_lost, &service, nullptr);
  g_main_loop_run(loop);

  g_bus_unown_name(name);
  g_dbus_connection_unregister_object(bus, object);
  for (const guint signal : signals) g_source_remove(signal);
  g_dbus_connection_flush_sync(bus, nullptr, nullptr);  // the replies that are still on their way
  return service.status;
}

}  // namespace

int main() {
  const helpers::StoreSession session;
  try {
    helpers::make_store();
    return serve();
  } catch (const std::exception& error) {
    return fail("cannot own the store", error.what());
  }
}
