#pragma once

// A bus, the owner of a store and clients with a store of their own, all real.

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>

#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "examples/handover/bus_names.h"
#include "support/background_program.h"
#include "support/fake_platform.h"
#include "support/store.h"

namespace msg_tarvel {

/** What came back: an error's name and text, or a reply with or without an id. */
struct Answer {
  std::string error;
  std::string text;
  int id = 0;
};

inline std::string program(const std::string& name) {
  return std::string(EXAMPLES_DIR) + "/" + name;
}

/** Every row of every table. */
inline std::vector<std::string> dump(RawConnection& store) {
  std::vector<std::string> rows;
  for (const std::string& table :
       store.column("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name;")) {
    std::string columns;
    for (const std::string& column :
         store.column("SELECT name FROM pragma_table_info(" + quoted(table) + ");")) {
      columns += (columns.empty() ? "quote(" : " || ', ' || quote(") + column + ")";
    }
    for (const std::string& row :
         store.column("SELECT " + columns + " FROM " + table + " ORDER BY rowid;")) {
      rows.push_back(table + ": " + row);
    }
  }
  return rows;
}

/** A bus, the owner with the store of DataDirTest, and the phone's store for the clients. */
class Handover : public DataDirTest {
 protected:
  explicit Handover(const std::string& ownerSettings = "")
      : _phoneSettings(write_settings("phone.ini", "[db/csc]\nsalescode=ATT\n")),
        _ownerSettings(write_settings("owner.ini", ownerSettings)) {
    makePhoneStore();
    FakePlatform::get().set("db/csc/salescode", "ATT");
    _bus.emplace(std::vector<std::string>{
        "dbus-daemon", "--nofork", "--print-address",
        std::string("--config-file=") + SOURCE_DIR + "/examples/handover/bus.conf",
        "--address=unix:dir=" + _folder.path()});
    _busAddress = _bus->line();
    _owner.emplace(
        std::vector<std::string>{program("example-handover-owner")},
        environment({"MSG_TARVEL_DATA_DIR=" + dataDir(), "MSG_TARVEL_SETTINGS=" + _ownerSettings}));
    EXPECT_EQ(_owner->line(), "ready");
    _store.emplace(dbFile());
  }

  ~Handover() override {
    if (_connection) g_object_unref(_connection);
    if (_owner) {
      EXPECT_EQ(stopOwner(), 0);
    }
  }

  int stopOwner() {
    _owner->terminate();
    const int status = _owner->finish().status;
    _owner.reset();
    return status;
  }

  std::vector<std::string> environment(std::vector<std::string> variables) const {
    variables.push_back("DBUS_SESSION_BUS_ADDRESS=" + _busAddress);
    return variables;
  }

  std::vector<std::string> phoneEnvironment() const {
    return environment({"MSG_TARVEL_DATA_DIR=" + _folder.path() + "/phone/",
                        "MSG_TARVEL_SETTINGS=" + _phoneSettings});
  }

  /** Runs the client with the phone's store. */
  ProcessResult client(const std::vector<std::string>& arguments) const {
    return run_program(clientCommand(arguments), phoneEnvironment());
  }

  static std::vector<std::string> clientCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {program("example-handover-client")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
  }

  /** Calls the owner over a connection of the test's own, which sends anything. */
  Answer call(const char* method, GVariant* parameters) {
    Answer answer;
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection(), handover::BUS_NAME, handover::OBJECT_PATH, handover::INTERFACE, method,
        parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (!reply) {
      g_autofree char* name = g_dbus_error_get_remote_error(error);
      g_dbus_error_strip_remote_error(error);
      answer.error = name ? name : "(not from the bus)";
      answer.text = error->message;
    } else if (g_variant_is_of_type(reply, G_VARIANT_TYPE("(i)"))) {
      g_variant_get(reply, "(i)", &answer.id);
    }
    return answer;
  }

  static GVariant* bytes(const std::string& buffer) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, buffer.data(), buffer.size(), 1);
  }
  Answer handOver(const std::string& buffer, int convId = 0) {
    return call("nms_add_message", g_variant_new("(vi)", bytes(buffer), convId));
  }
  Answer addMessage(const char* address, const char* text, int folder = msg_tarvel::MAIN_FOLDER_1) {
    return call("add_message", g_variant_new("(sisssi)", address, folder, "sms", text, "more", 1));
  }

  RawConnection& store() { return *_store; }
  RawConnection& phone() { return *_phone; }
  const TemporaryFolder& folder() const { return _folder; }
  const std::string& busAddress() const { return _busAddress; }
  pid_t owner() const { return _owner->pid(); }

  /** Stores full_message() on the phone, with this text, as the phone's own programs would. */
  int addToPhone(const std::string& mainText) {
    if (!phone().value("SELECT convId FROM msg_conversation_table;")) {
      phone().exec("INSERT INTO msg_conversation_table (msgCnt) VALUES (1);");
      phone().exec(
          "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
          "(1, 1, 1, '+14155550100'), (1, 2, 2, 'o''brien@example.org');");
    }
    phone().exec(
        "INSERT INTO msg_message_table (convId, itemId, msgType, storageFolder, storageId, "
        "networkStatus, simIndex, displayTime, read, isSafeMessage, peerChatType, attachedNum, "
        "stickerId, peerConvId, mainText, textMessage, peerGroupChatSender) VALUES (1, -13, 'mms', "
        "1, 14, 15, 1, 81985529216486895, 0, 1, 1, 16, 17, 18, " +
        quoted(mainText) + ", 'It''s a \u00fcmlaut', 'o''brien@example.org');");
    const std::string msgId = std::to_string(phone().lastInsertId());
    phone().exec(
        "INSERT INTO msg_mms_content_table (msgId, slideIdx, attachType, hasFile, contentType, "
        "mediaType, status, filepath, filename, thumbpath, peer_filepath, textData) VALUES (" +
        msgId +
        ", 1, 1, 1, 'image/jpeg', 19, 20, '/media/picture.jpg', 'picture.jpg', "
        "'/media/thumb.jpg', '/peer/picture.jpg', ''), (" +
        msgId + ", 0, 0, 0, 'text/plain', 0, 0, '', '', '', '', 'Look at this');");
    phone().exec(
        "INSERT INTO msg_nms_meta_table (msgId, objectId, resourceURL, primaryId, secondaryId, "
        "lastModSeq, msgTime, BTCorrelated, MSSICorrelated, MSSISync, deleted, downloadRequired) "
        "VALUES (" +
        msgId +
        ", 'object', 'https://store.example.org/object', 'first', 'second', "
        "-81985529216486895, 1700000000123, 1, 2, 1, 0, 1);");
    return std::stoi(msgId);
  }

  /** A client of the test's own. */
  GDBusConnection* connection() {
    if (!_connection) {
      _connection = g_dbus_connection_new_for_address_sync(
          _busAddress.c_str(),
          static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                            G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
          nullptr, nullptr, nullptr);
    }
    return _connection;
  }

  Thread thread(int convId) {
    Thread found;
    EXPECT_EQ(db::db_get_thread(convId, found), db::DB_SUCCESS);
    return found;
  }

 private:
  void makePhoneStore() {
    // In a process of its own: the library settles for one store in each.
    Child phone([this] {
      FakePlatform::get().setDataPath(_folder.path() + "/phone/");
      return db::DBMgr::getInstance()->createDb();
    });
    EXPECT_EQ(phone.wait(), 0);
    _phone.emplace(_folder.path() + "/phone/dbspace/.msg-tarvel-server.db");
  }

  std::string write_settings(const std::string& name, const std::string& text) const {
    std::string path = _folder.path() + "/" + name;
    std::ofstream(path) << text;
    return path;
  }

  TemporaryFolder _folder;
  std::string _phoneSettings;
  std::string _ownerSettings;
  std::string _busAddress;
  std::optional<BackgroundProgram> _bus;
  std::optional<BackgroundProgram> _owner;
  std::optional<RawConnection> _store;
  std::optional<RawConnection> _phone;
  GDBusConnection* _connection = nullptr;
};

}  // namespace msg_tarvel
