// The interface as D-Bus tools read it.

#include "helpers/introspection.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

namespace msg_tarvel::helpers {
namespace {

std::string signature_of(GDBusArgInfo** arguments) {
  std::string types;
  for (; arguments && *arguments; ++arguments) types += (*arguments)->signature;
  return types;
}

TEST(Introspection, HasEveryCommandWithItsSignature) {
  const MsgIPC registry;
  GError* error = nullptr;
  GDBusNodeInfo* const node =
      g_dbus_node_info_new_for_xml(introspection_xml(registry).c_str(), &error);
  ASSERT_NE(node, nullptr) << error->message;
  GDBusInterfaceInfo* const interface =
      g_dbus_node_info_lookup_interface(node, "org.tarvel.Messages");
  ASSERT_NE(interface, nullptr);
  for (int number = 0; number <= MsgIPC::NMS_UPDATE_SUBSCRIPTION_INFO; ++number) {
    const auto command = static_cast<MsgIPC::IpcCommand>(number);
    const std::string name = registry.getCmdString(command);
    GDBusMethodInfo* const method = g_dbus_interface_info_lookup_method(interface, name.c_str());
    ASSERT_NE(method, nullptr) << name;
    EXPECT_EQ("((" + signature_of(method->in_args) + "))", registry.getCmdStruct(command)) << name;
    const bool hasReply = command == MsgIPC::ADD_MESSAGE || command == MsgIPC::NMS_ADD_MESSAGE;
    EXPECT_EQ(signature_of(method->out_args), hasReply ? "i" : "") << name;
  }
  EXPECT_EQ(interface->methods[MsgIPC::NMS_UPDATE_SUBSCRIPTION_INFO + 1], nullptr);
  g_dbus_node_info_unref(node);
}

/** The names of what a command takes, each with a space behind it. */
std::string parameters_of(const std::string& xml, const std::string& command) {
  std::string names;
  const std::size_t begin = xml.find("<method name=\"" + command + "\">");
  const std::string before = "direction=\"in\" name=\"";
  const std::size_t end = xml.find("</method>", begin);
  for (std::size_t at = xml.find(before, begin); at < end; at = xml.find(before, at)) {
    at += before.size();
    names += xml.substr(at, xml.find('"', at) - at) + " ";
  }
  return names;
}

TEST(Introspection, NamesEachParameterThatIsSettled) {
  const std::string xml = introspection_xml(MsgIPC());
  EXPECT_EQ(parameters_of(xml, "read_message"), "msgId convId ");
  EXPECT_EQ(parameters_of(xml, "read_thread"), "convId ");
  EXPECT_EQ(parameters_of(xml, "delete_message"), "msgId convId ");
  EXPECT_EQ(parameters_of(xml, "delete_thread"), "convId ");
  EXPECT_EQ(parameters_of(xml, "add_message"),
            "address storageFolder msgType mainText textMessage simIndex ");
  EXPECT_EQ(parameters_of(xml, "nms_add_message"), "message convId ");
  EXPECT_EQ(parameters_of(xml, "nms_update_subscription_info"), "notiIdx restartToken ");
}

TEST(Introspection, NamesParameters) {
  const std::string xml = introspection_xml(MsgIPC());
  const std::string twoParameters =
      "    <method name=\"read_message\">\n"
      "      <arg direction=\"in\" name=\"msgId\" type=\"i\"/>\n"
      "      <arg direction=\"in\" name=\"convId\" type=\"i\"/>\n"
      "    </method>\n";
  for (const std::string& part :
       {std::string("<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection "
                    "1.0//EN\"\n"),
        twoParameters,
        std::string("      <arg direction=\"in\" name=\"parameter2\" type=\"s\"/>\n"),
        std::string("      <arg direction=\"out\" name=\"newMsgId\" type=\"i\"/>\n"),
        std::string("    <method name=\"nms_handle_resetbox\"/>\n")}) {
    EXPECT_NE(xml.find(part), std::string::npos) << part;
  }
}

}  // namespace
}  // namespace msg_tarvel::helpers
