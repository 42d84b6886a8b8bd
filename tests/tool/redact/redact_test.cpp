// A redacted database: nothing that anybody wrote is in its bytes, and what can be wrong with a
// store still is.

#include "redact/redact.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/db/db_indexes.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "exit_status.h"
#include "generate/generate.h"
#include "helpers/store_maker.h"
#include "helpers/transaction.h"

namespace msg_tarvel::tool {
namespace {

namespace fs = std::filesystem;

using Values = std::vector<std::string>;

class Redaction : public ::testing::Test {
 protected:
  Redaction() {
    std::string pattern = fs::temp_directory_path() / "redaction-XXXXXX";
    _folder = mkdtemp(pattern.data());
    setenv("MSG_TARVEL_DATA_DIR", (_folder + "/").c_str(), 1);
    const helpers::StoreSession session;
    helpers::make_store();
    db::db_create_indexes();
    _empty = bytesOf(database());
    GenerateOptions options;
    options.messages = 200;
    generate_store(options);
  }
  ~Redaction() override { fs::remove_all(_folder); }

  std::string database() const { return _folder + "/dbspace/.msg-tarvel-server.db"; }
  std::string redacted() const { return _folder + "/redacted.db"; }
  const std::string& empty() const { return _empty; }

  static std::string bytesOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::stringstream bytes;
    bytes << stream.rdbuf();
    return bytes.str();
  }

  /** The first column of every row; a failure is told as one. */
  static Values ask(const std::string& path, const std::string& sql) {
    sqlite3* handle = nullptr;
    sqlite3_open(path.c_str(), &handle);
    Values values;
    char* error = nullptr;
    const auto keep = [](void* kept, int /*count*/, char** row, char** /*names*/) {
      static_cast<Values*>(kept)->push_back(row[0] ? row[0] : "NULL");
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), keep, &values, &error), SQLITE_OK) << error;
    sqlite3_free(error);
    sqlite3_close(handle);
    return values;
  }
  void change(const std::string& sql) const { ask(database(), sql); }

  /** What was left out. */
  Values redact(const std::string& key = "the key of this test") const {
    fs::copy_file(database(), redacted(), fs::copy_options::overwrite_existing);
    return redact_database(redacted(), key);
  }

  /** Calls `look` for each column of each table. */
  void forEachColumn(
      const std::function<void(const std::string& table, const std::string& column)>& look) const {
    for (const std::string& table :
         ask(database(), "SELECT name FROM sqlite_master WHERE type = 'table';")) {
      for (const std::string& column :
           ask(database(), "SELECT name FROM pragma_table_info('" + table + "');")) {
        look(table, column);
      }
    }
  }

  /** Something of somebody's in every place that can hold a text. */
  void plantEverywhere() const {
    forEachColumn([this](const std::string& table, const std::string& column) {
      if (table == "sqlite_sequence") return;
      const bool isKey = !ask(database(), "SELECT 1 FROM pragma_table_info('" + table +
                                              "') WHERE pk = 1 AND name = '" + column + "';")
                              .empty();
      if (isKey) return;
      change("UPDATE " + table + " SET " + column + " = 'Planted In " + table + " " + column +
             "' WHERE rowid = (SELECT max(rowid) FROM " + table + ");");
    });
  }

 private:
  std::string _folder;
  std::string _empty;
};

TEST_F(Redaction, NoStringOfFourOrMoreCharactersIsInItsBytes) {
  plantEverywhere();
  change(
      "UPDATE msg_message_table SET customFieldStr1 = 'import:0123456789abcdef' WHERE msgId = 5;"
      "UPDATE msg_message_table SET textMessage = x'736563726574426c6f62' WHERE msgId = 6;"
      "UPDATE msg_mms_content_table SET contentType = 'image/jpeg; name=\"holiday.jpg\"' "
      "WHERE contentId = 3;"
      "CREATE TABLE notes (note TEXT); INSERT INTO notes VALUES ('written beside');"
      "CREATE VIEW peek AS SELECT 'hidden in a view';"
      "CREATE TRIGGER grow AFTER UPDATE ON msg_message_table BEGIN INSERT INTO notes VALUES "
      "('put there by a trigger'); END;"
      "CREATE INDEX odd ON msg_message_table(convId) WHERE textMessage = 'kept by an index';"
      "ALTER TABLE msg_message_table ADD COLUMN note TEXT DEFAULT 'ZzSecretOwnerZz';"
      "ALTER TABLE msg_message_table ADD COLUMN \"John Smith's col\" INT;"
      "CREATE INDEX anna_mueller_idx ON msg_message_table(note);"
      "CREATE INDEX dq ON msg_message_table(note) WHERE note <> \"PrivateNameX\";"
      "DROP INDEX msg_message_time_index;"
      "CREATE INDEX msg_message_time_index ON msg_message_table(convId) WHERE mainText <> "
      "\"PrivateNameY\";"
      "DROP TABLE respond_msg_table;"
      "CREATE TABLE respond_msg_table(id INTEGER PRIMARY KEY, body TEXT DEFAULT 'Owner of a "
      "default' CHECK (body <> 'Name in a check'), status PrivateType /* told in a comment */);"
      "INSERT INTO respond_msg_table (id, body) VALUES (7, 'body of a response');"
      "INSERT INTO sqlite_sequence VALUES ('counted for somebody', 5), ('x', 'sequence of words');"
      "ANALYZE;"
      "DELETE FROM msg_message_table WHERE msgId BETWEEN 20 AND 40;");
  const std::string before = bytesOf(database());
  ASSERT_NE(before.find("hidden in a view"), std::string::npos);

  std::set<std::string> originals = {
      "written beside", "hidden in a view", "kept by an index", "put there by a trigger",
      "secretBlob",     "holiday.jpg",      "0123456789abcdef", "ZzSecretOwnerZz",
      "John Smith",     "anna_mueller",     "PrivateName",      "Owner of a default",
      "Name in a",      "PrivateType",      "told in",          "counted for",
      "sequence of"};
  for (const std::string& original : originals) {
    ASSERT_NE(before.find(original), std::string::npos) << original;
  }
  forEachColumn([&](const std::string& table, const std::string& name) {
    const std::string column = '"' + name + '"';
    const Values values =
        ask(database(), "SELECT DISTINCT CAST(" + column + " AS TEXT) FROM " + table +
                            " WHERE typeof(" + column + ") IN ('text', 'blob') AND length(" +
                            column + ") >= 4;");
    originals.insert(values.begin(), values.end());
  });
  ASSERT_GT(originals.size(), 600U);

  // A disguise may happen to be some other short word, but not with every key.
  Values files;
  for (const char* const key : {"one key", "another", "a third"}) {
    redact(key);
    files.push_back(bytesOf(redacted()));
  }
  const std::set<std::string> kept = {"image/jpeg",  "image/png",  "image/gif",    "audio/amr",
                                      "audio/x-wav", "text/plain", "text/x-vcard", "json_msg"};
  const Values times = ask(database(), "SELECT time_stamp FROM temp_log;");
  for (const std::string& original : originals) {
    // The schema's own words, and what a reader needs to see.
    if (empty().find(original) != std::string::npos || kept.count(original) > 0) continue;
    if (std::find(times.begin(), times.end(), original) != times.end() && original[0] == '2') {
      continue;
    }
    EXPECT_TRUE(std::any_of(files.begin(), files.end(), [&original](const std::string& file) {
      return file.find(original) == std::string::npos;
    })) << original;
  }
}

TEST_F(Redaction, NumbersThatAreNoTextsStay) {
  change(
      "UPDATE msg_conversation_table SET msgCnt = 77, unreadCnt = -3 WHERE convId = 2;"
      "DELETE FROM msg_address_table WHERE addressId = 4;");
  redact();
  forEachColumn([&](const std::string& table, const std::string& column) {
    const std::string numbers = "SELECT group_concat(quote(" + column + ")) FROM (SELECT " +
                                column + " FROM " + table + " WHERE typeof(" + column +
                                ") NOT IN ('text', 'blob') ORDER BY rowid);";
    EXPECT_EQ(ask(redacted(), numbers), ask(database(), numbers)) << table << "." << column;
    const std::string lengths = "SELECT length(" + column + ") FROM " + table + " ORDER BY rowid;";
    EXPECT_EQ(ask(redacted(), lengths), ask(database(), lengths)) << table << "." << column;
    const std::string different = "SELECT count(DISTINCT " + column + ") FROM " + table + ";";
    EXPECT_EQ(ask(redacted(), different), ask(database(), different)) << table << "." << column;
  });
  for (const std::string sql :
       {"PRAGMA user_version;", "SELECT group_concat(name || sql) FROM sqlite_master;",
        "SELECT count(*) FROM msg_conversation_table AS c JOIN msg_message_table AS m ON "
        "m.msgId = c.lastMsgId AND m.mainText = c.mainText AND m.textMessage = c.msgText;",
        "SELECT count(*) FROM msg_message_table AS m JOIN msg_address_table AS a ON "
        "a.convId = m.convId AND a.address = m.peerGroupChatSender;"}) {
    EXPECT_EQ(ask(redacted(), sql), ask(database(), sql)) << sql;
  }
}

// A store may have been made with other types.
TEST_F(Redaction, NumbersInPlaceOfTextsBecomeOthers) {
  change(
      "DROP TABLE msg_address_table; CREATE TABLE msg_address_table(addressId INTEGER PRIMARY KEY "
      "AUTOINCREMENT, convId INT NOT NULL, addressType INT, recipientType INT, address INT);"
      "INSERT INTO msg_address_table (convId, addressType, address) VALUES (4155550123, 1, "
      "4155550123), (2, 1, -4155550124), (3, 1, 9223372036854775807), (4, 1, NULL);"
      "DROP TABLE msg_sim_table; CREATE TABLE msg_sim_table(id INTEGER PRIMARY KEY AUTOINCREMENT, "
      "simIndex INT, storageId INT, Imsi BLOB, Address REAL, customInt INT);"
      "INSERT INTO msg_sim_table (Imsi, Address) VALUES (310150123456789, 4155550123);"
      "UPDATE msg_message_table SET simAddress = '4155550123';");
  redact();
  const std::string addresses =
      "SELECT typeof(address) || ' ' || length(address) FROM msg_address_table;";
  EXPECT_EQ(ask(redacted(), addresses), ask(database(), addresses));
  EXPECT_EQ(ask(redacted(), "SELECT convId FROM msg_address_table;"),
            (Values{"4155550123", "2", "3", "4"}));
  EXPECT_EQ(ask(redacted(), "SELECT DISTINCT simAddress FROM msg_message_table;"),
            ask(redacted(), "SELECT address FROM msg_address_table WHERE addressId = 1;"));
  const Values originals = {"4155550123", "-4155550124", "9223372036854775807"};
  const Values changed = ask(redacted(), "SELECT address FROM msg_address_table;");
  for (std::size_t i = 0; i < originals.size(); ++i) EXPECT_NE(changed[i], originals[i]);
  EXPECT_EQ(ask(redacted(),
                "SELECT typeof(Imsi) || length(Imsi) || typeof(Address) || (Imsi = "
                "310150123456789) || (Address = 4155550123) FROM msg_sim_table;"),
            Values{"integer15real00"});
}

TEST_F(Redaction, ANumberOfOtherDigitsHasAsMany) {
  change(
      "DROP TABLE temp_log; CREATE TABLE temp_log(id INTEGER PRIMARY KEY AUTOINCREMENT, time_stamp "
      "INT, data1 INT, data2 INT, data3 INT); WITH RECURSIVE n(i) AS (SELECT 100 UNION ALL SELECT "
      "i + 1 FROM n LIMIT 100) INSERT INTO temp_log (data1) SELECT i FROM n;");
  redact();
  EXPECT_EQ(ask(redacted(), "SELECT DISTINCT typeof(data1) || length(data1) FROM temp_log;"),
            Values{"integer3"});
  EXPECT_EQ(ask(redacted(), "SELECT count(*) FROM temp_log WHERE data1 = id + 99;"), Values{"0"});
}

TEST_F(Redaction, OnlyTimesStayTimes) {
  const Values times = {"2025-02-19",
                        "2025-02-19 21:20",
                        "2025-02-19T21:20:00Z",
                        "2025-02-19 21:20:00-05:00",
                        "1999-12-31 23:59:59.999",
                        "2025-02-19T21:20:00.123+01:00",
                        "1740000000",
                        "1740000000123"};
  const Values others = {"+14155550111", "14155550111", "4155550111",      "0049 170 1234567",
                         "415-555-0111", "2740000000",  "2025-02-19 4155", "4155-55-50"};
  std::string rows;
  for (const Values& values : {times, others}) {
    for (const std::string& value : values) {
      rows += "INSERT INTO temp_log (time_stamp) VALUES ('" + value + "');";
    }
  }
  change("DELETE FROM temp_log;" + rows);
  redact();
  const Values changed = ask(redacted(), "SELECT time_stamp FROM temp_log ORDER BY id;");
  ASSERT_EQ(changed.size(), times.size() + others.size());
  for (std::size_t i = 0; i < times.size(); ++i) EXPECT_EQ(changed[i], times[i]);
  for (std::size_t i = 0; i < others.size(); ++i) {
    EXPECT_NE(changed[times.size() + i], others[i]);
    EXPECT_EQ(changed[times.size() + i].size(), others[i].size());
  }
}

TEST_F(Redaction, TheFileHasNoFreedPages) {
  change("DELETE FROM msg_message_table WHERE msgId > 50;");
  ASSERT_NE(ask(database(), "PRAGMA freelist_count;"), Values{"0"});
  redact();
  EXPECT_EQ(ask(redacted(), "PRAGMA freelist_count;"), Values{"0"});
  EXPECT_EQ(ask(redacted(), "PRAGMA integrity_check;"), Values{"ok"});
}

TEST_F(Redaction, NamesWhatItLeavesOut) {
  change(
      "CREATE TABLE notes (note TEXT);"
      "CREATE VIEW peek AS SELECT 1;"
      "CREATE TRIGGER grow AFTER UPDATE ON msg_message_table BEGIN DELETE FROM notes; END;"
      "CREATE INDEX odd ON msg_message_table(convId) WHERE textMessage = 'a';"
      "CREATE INDEX plain ON msg_message_table(itemId);"
      "DROP TABLE temp_log; CREATE VIEW temp_log AS SELECT 1;");
  EXPECT_EQ(redact(), (Values{"trigger grow", "view peek", "view temp_log", "index odd",
                              "index plain", "table notes"}));
}

TEST_F(Redaction, ATableThatSaysMoreIsMadeAnewWithItsRows) {
  const std::string schema =
      "SELECT group_concat(type || name || replace(coalesce(sql, ''), ' )', ')')) FROM (SELECT * "
      "FROM sqlite_master ORDER BY type, name);";
  const std::string rows =
      "SELECT group_concat(convId || ' ' || msgCnt || ' ' || quote(lastMsgId)) FROM "
      "msg_conversation_table;";
  const std::string sequences =
      "SELECT group_concat(name || seq) FROM (SELECT * FROM sqlite_sequence ORDER BY name);";
  change("UPDATE sqlite_sequence SET seq = 900 WHERE name = 'msg_conversation_table';");
  const Values rightSchema = ask(database(), schema);
  change(
      "ALTER TABLE msg_conversation_table ADD COLUMN nick TEXT DEFAULT 'Bob';"
      "ALTER TABLE msg_conversation_table ADD COLUMN \"a \"\"name\"\"\" INT;"
      "ALTER TABLE msg_message_table ADD COLUMN nick TEXT;");
  EXPECT_EQ(redact(),
            (Values{"column msg_conversation_table.nick",
                    "column msg_conversation_table.a \"name\"", "column msg_message_table.nick"}));
  EXPECT_EQ(ask(redacted(), schema), rightSchema);
  EXPECT_EQ(ask(redacted(), rows), ask(database(), rows));
  EXPECT_EQ(ask(redacted(), sequences), ask(database(), sequences));
  EXPECT_EQ(ask(redacted(), "PRAGMA integrity_check;"), Values{"ok"});
}

TEST_F(Redaction, WhatATableLacksItStillLacks) {
  change(
      "DROP TABLE temp_log; CREATE TABLE temp_log(data2 TEXT, id INTEGER PRIMARY KEY, time_stamp "
      "INT DEFAULT 7); INSERT INTO temp_log VALUES ('x', 4, 1740000009), ('y', 9, 1740000008);"
      "DROP TABLE msg_sim_table; CREATE TABLE msg_sim_table(mine TEXT);"
      "ALTER TABLE deleted_msg_table RENAME COLUMN data1 TO data9;"
      "DROP TABLE mssi_info_table; CREATE TABLE mssi_info_table(id INTEGER PRIMARY KEY "
      "AUTOINCREMENT, restartToken TEXT);");
  EXPECT_EQ(redact(), (Values{"column deleted_msg_table.data9", "table msg_sim_table",
                              "definition temp_log"}));
  EXPECT_EQ(ask(redacted(), "SELECT sql FROM sqlite_master WHERE name = 'temp_log';"),
            Values{"CREATE TABLE temp_log(data2 TEXT, id INTEGER PRIMARY KEY AUTOINCREMENT, "
                   "time_stamp INT)"});
  EXPECT_EQ(ask(redacted(), "SELECT id || ' ' || time_stamp FROM temp_log;"),
            (Values{"4 1740000009", "9 1740000008"}));
  EXPECT_EQ(ask(redacted(), "SELECT count(*) FROM pragma_table_info('deleted_msg_table');"),
            Values{"6"});
  EXPECT_EQ(ask(redacted(), "SELECT sql FROM sqlite_master WHERE name = 'mssi_info_table';"),
            Values{"CREATE TABLE mssi_info_table(id INTEGER PRIMARY KEY AUTOINCREMENT, "
                   "restartToken TEXT)"});
}

TEST_F(Redaction, ImportMarksStayMarksOfTheSameMessages) {
  change("UPDATE msg_message_table SET customFieldStr1 = 'import:' || (msgId / 2);");
  redact();
  EXPECT_EQ(ask(redacted(),
                "SELECT count(DISTINCT customFieldStr1) FROM msg_message_table WHERE "
                "customFieldStr1 GLOB 'import:[0-9a-f]*' AND "
                "length(customFieldStr1) = 71;"),
            Values{"101"});
}

TEST_F(Redaction, SaysWhyItCannot) {
  std::ofstream(redacted()) << std::string(4096, 'x');
  try {
    redact_database(redacted(), "key");
    FAIL() << "a file that is no database";
  } catch (const Failure& failure) {
    EXPECT_EQ(std::string(failure.what()).rfind("cannot redact the message store: ", 0), 0U)
        << failure.what();
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
