// The indexes that create and import make, or are told not to make.

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

constexpr const char* NAMES =
    "msg_address_conversation_index\nmsg_ft_content_message_index\nmsg_ft_content_path_index\n"
    "msg_message_conversation_index\nmsg_message_item_index\nmsg_message_time_index\n"
    "msg_message_unsynced_index\nmsg_mms_content_message_index\nmsg_nms_meta_bt_index\n"
    "msg_nms_meta_download_index\nmsg_nms_meta_message_index\nmsg_nms_meta_mssi_index\n"
    "msg_nms_meta_object_index\nmsg_nms_meta_primary_index\n";

class Indexes : public ToolTest {
 protected:
  std::string names() const {
    return rows("SELECT name FROM sqlite_master WHERE type = 'index' AND sql <> '' ORDER BY 1;");
  }
  /** Indexes in the order in which they were made, with their texts. */
  std::string texts() const {
    return rows("SELECT sql FROM sqlite_master WHERE type = 'index' AND sql <> '' ORDER BY rowid;");
  }
  void createWithout() const { ASSERT_EQ(run({"create", "--no-indexes"}).status, 0); }
  /** From now on an index of this name cannot be made. */
  void blockTheTimeIndex() const {
    RawConnection(dbFile()).exec("CREATE TABLE msg_message_time_index (x);");
  }
  void expectSoundness() const { EXPECT_EQ(rows("PRAGMA integrity_check;"), "ok\n"); }
};

TEST_F(Indexes, AreCreated) {
  create();
  EXPECT_EQ(names(), NAMES);
  EXPECT_EQ(run({"create"}).out, "complete already: " + dbFile() + "\n");
}

TEST_F(Indexes, AreNotCreatedAgainstTheUsersWill) {
  EXPECT_EQ(run({"create", "--no-indexes"}).out, "created " + dbFile() + "\n");
  EXPECT_EQ(names(), "");
}

TEST_F(Indexes, CompleteAStore) {
  createWithout();
  EXPECT_EQ(run({"create", "--no-indexes"}).out, "complete already: " + dbFile() + "\n");
  EXPECT_EQ(run({"create"}).out, "completed " + dbFile() + "\n");
  EXPECT_EQ(names(), NAMES);
}

TEST_F(Indexes, ThatCannotBeMadeAreNotLeftInPart) {
  createWithout();
  blockTheTimeIndex();
  expectFailure(run({"create"}), "cannot index the message store " + dbFile() + ": ",
                "there is already a table named msg_message_time_index");
  EXPECT_EQ(names(), "");
}

TEST_F(Indexes, ComeWithAnImport) {
  createWithout();
  import(sms({}));
  EXPECT_EQ(names(), NAMES);
  expectSoundness();
}

TEST_F(Indexes, DoNotComeWithAnImportAgainstTheUsersWill) {
  createWithout();
  import(sms({}), {"--no-indexes"});
  EXPECT_EQ(names(), "");
}

TEST_F(Indexes, ThatCannotBeMadeUndoAnImport) {
  createWithout();
  blockTheTimeIndex();
  const std::string before = everything();
  const std::string elements = sms({}) + mms({}, data_part("image/png", "QUJD"), "");
  expectFailure(run({"import", file("b.xml", backup(elements))}),
                "cannot index the message store " + dbFile() + ": ",
                "there is already a table named msg_message_time_index");
  EXPECT_EQ(names(), "");
  EXPECT_EQ(everything(), before);
  EXPECT_EQ(import(elements, {"--no-indexes"})["stored"], 2);
}

TEST_F(Indexes, AreWhatTheyWereAfterAFirstImport) {
  create();
  RawConnection(dbFile()).exec(
      "CREATE INDEX \"odd \"\" one\" ON msg_message_table (lower(mainText)) WHERE read = 1;"
      "CREATE UNIQUE INDEX alone ON msg_message_table (customFieldStr1, msgId);");
  const std::string sorted =
      "SELECT sql FROM sqlite_master WHERE type = 'index' AND sql <> '' ORDER BY name;";
  const std::string before = rows(sorted);
  for (const std::string body : {"first", "second"}) {
    import(sms({{ "body", body }}) + mms({{ "sub", body }}, text_part("a"), ""));
    expectSoundness();
  }
  EXPECT_EQ(rows(sorted), before);
  EXPECT_EQ(rows("SELECT count(*) FROM msg_message_table INDEXED BY \"odd \"\" one\" WHERE "
                 "lower(mainText) >= '' AND read = 1;"),
            "4\n");
}

TEST_F(Indexes, AreKeptByAFirstImportThatMakesNone) {
  create();
  import(sms({}), {"--no-indexes"});
  EXPECT_EQ(names(), NAMES);
  expectSoundness();
}

TEST_F(Indexes, AreWhatTheyWereAfterAFailedFirstImport) {
  create();
  RawConnection(dbFile()).exec(
      "CREATE TRIGGER refuse BEFORE INSERT ON msg_message_table BEGIN "
      "SELECT RAISE(ABORT, 'refused'); END;");
  const std::string before = texts();
  EXPECT_EQ(run({"import", file("b.xml", backup(sms({})))}).status, 3);
  EXPECT_EQ(texts(), before);
  expectSoundness();
}

TEST_F(Indexes, OfAStoreWithMessagesAreNotMadeAgain) {
  create();
  import(sms({}));
  const std::string places = "SELECT rowid || ':' || rootpage FROM sqlite_master;";
  const std::string before = rows(places);
  import(sms({{ "body", "new" }}));
  EXPECT_EQ(rows(places), before);
  expectSoundness();
}

}  // namespace
}  // namespace msg_tarvel
