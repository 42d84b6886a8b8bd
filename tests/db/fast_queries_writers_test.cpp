// Lists beside an owner who writes, each in a process of its own: no reader sees half of what was
// written in one transaction, and no reader keeps the owner from committing.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "list_queries.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "support/processes.h"

namespace msg_tarvel::db {

namespace {

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

/** A store in which this process has no connection open, so that children may open theirs. */
class WithWriters : public ListQueriesTest, public ::testing::WithParamInterface<bool> {
 protected:
  void closeConnection() {
    init_db();
    deinit_db();
    FakePlatform::get().clearLines();
  }

  /** Runs each of `readers`, which says whether it saw what it should, again and again. */
  void startReaders(const std::vector<std::function<bool()>>& readers, Clock::duration time) {
    for (const auto& reader : readers) {
      _readers.push_back(std::make_unique<Child>([&reader, time] {
        const Clock::time_point end = Clock::now() + time;
        int times = 0;
        for (; Clock::now() < end; ++times) {
          if (!reader()) return 1;
        }
        return times > 1 ? 0 : 2;
      }));
    }
  }

  void expectReadersSawWhatTheyShould() {
    for (const auto& reader : _readers) EXPECT_EQ(reader->wait(), 0);
  }

 private:
  std::vector<std::unique_ptr<Child>> _readers;
};

// ---- A message moves with its parts ------------------------------------------------------------

constexpr int MOVED_MESSAGES = 6;
constexpr int CONTENTS_EACH = 2;

class WholeStates : public WithWriters {
 protected:
  WholeStates() {
    for (const char* convId : {"1", "2"}) {
      insert("msg_conversation_table", {{"convId", convId}, {"displayTime", "1"}});
    }
    for (int i = 1; i <= MOVED_MESSAGES; ++i) {
      const std::string msgId = std::to_string(i);
      insert(
          "msg_message_table",
          {{"convId", "1"}, {"msgType", "'mms'"}, {"storageFolder", "1"}, {"displayTime", msgId}});
      for (int part = 0; part < CONTENTS_EACH; ++part) {
        insert("msg_mms_content_table", {{"msgId", msgId}});
      }
      insert("msg_nms_meta_table", {{"msgId", msgId}});
    }
    for (const char* convId : {"1", "2"}) {
      insert("msg_address_table", {{"convId", convId}, {"address", "''"}});
    }
    move(0);
    if (GetParam()) createIndexes();
    closeConnection();
  }

  /**
   * Moves message `round` % 6 + 1 to the other conversation, and writes the number of the round
   * wherever a reader looks; the counters tell how many messages a conversation has.
   */
  void move(int round) {
    const std::string number = std::to_string(round);
    const std::string msgId = std::to_string(round % MOVED_MESSAGES + 1);
    raw().exec(
        "BEGIN IMMEDIATE;"
        "UPDATE msg_message_table SET convId = 3 - convId WHERE msgId = " +
        msgId +
        ";"
        "UPDATE msg_message_table SET mainText = '" +
        number + "', simIndex = " + number +
        ";"
        "DELETE FROM msg_mms_content_table WHERE msgId = " +
        msgId +
        ";"
        "INSERT INTO msg_mms_content_table (msgId) VALUES (" +
        msgId + "), (" + msgId +
        ");"
        "UPDATE msg_mms_content_table SET textData = '" +
        number +
        "';"
        "UPDATE msg_address_table SET address = convId || ':" +
        number +
        "';"
        "UPDATE msg_nms_meta_table SET objectId = '" +
        number +
        "';"
        "UPDATE msg_conversation_table SET mainText = '" +
        number +
        "', msgCnt = "
        "(SELECT count(*) FROM msg_message_table WHERE convId = "
        "msg_conversation_table.convId);"
        "COMMIT;");
  }
};

/** A reader whom the others keep out for 2.1 s sees nothing at all. */
bool is_kept_out(int ret) { return ret == DB_ERR_STEP || ret == DB_ERR_PREPARE; }

bool is_whole(const Message& message, const std::string& round) {
  if (message.mainText != round || message.nmsMsgMeta.objectId != round) return false;
  if (message.addresses.size() != 1 || message.contents.size() != CONTENTS_EACH) return false;
  if (message.addresses[0].address != std::to_string(message.convId) + ":" + round) return false;
  for (const Content& content : message.contents) {
    if (content.textData != round) return false;
  }
  return true;
}

bool are_messages_whole() {
  std::vector<Message> messages;
  const int ret = db_get_message_list(ListCondition(), messages);
  if (ret != DB_SUCCESS) return is_kept_out(ret);
  if (messages.size() != MOVED_MESSAGES) return false;
  for (const Message& message : messages) {
    if (!is_whole(message, messages[0].mainText)) return false;
  }
  return true;
}

bool are_threads_whole() {
  std::vector<Thread> threads;
  const int ret = db_get_threads(threads);
  if (ret != DB_SUCCESS) return is_kept_out(ret);
  int messages = 0;
  for (const Thread& thread : threads) {
    messages += thread.msgCnt;
    if (thread.mainText != threads[0].mainText) return false;
    if (std::to_string(thread.simIndex) != thread.mainText) return false;
  }
  return messages == MOVED_MESSAGES;
}

bool is_thread_whole() {
  Thread thread;
  const int ret = db_get_thread(1, thread);
  if (ret == DB_NO_DATA || is_kept_out(ret)) return true;
  return ret == DB_SUCCESS && std::to_string(thread.simIndex) == thread.mainText;
}

bool is_conversation_whole() {
  std::vector<Conversation> conversation;
  const int ret = db_get_conversations(1, conversation);
  if (ret == DB_NO_DATA || is_kept_out(ret)) return true;
  if (ret != DB_SUCCESS) return false;
  for (const Conversation& message : conversation) {
    if (message.mainText != conversation[0].mainText) return false;
    if (message.contents.size() != CONTENTS_EACH) return false;
    for (const Content& content : message.contents) {
      if (content.textData != message.mainText) return false;
    }
  }
  return true;
}

TEST_P(WholeStates, AreAllThatReadersSee) {
  constexpr Clock::duration TIME = 5s;
  startReaders({&are_messages_whole, &are_threads_whole, &is_thread_whole, &is_conversation_whole},
               TIME);
  // With the disk in between, the writer would hold its lock for most of the time.
  raw().exec("PRAGMA synchronous = OFF;");
  const Clock::time_point end = Clock::now() + TIME;
  int round = 1;
  for (; Clock::now() < end; ++round) {
    move(round);
    std::this_thread::sleep_for(5ms);
  }
  expectReadersSawWhatTheyShould();
  EXPECT_GT(round, 20);
}

INSTANTIATE_TEST_SUITE_P(With, WholeStates, ::testing::Bool(), &name_of_store);

// ---- The owner goes on writing -----------------------------------------------------------------

class BusyOwner : public WithWriters {
 protected:
  static constexpr int CONVERSATIONS = 300;
  static constexpr int MESSAGES = 20100;

  BusyOwner() {
    fill(CONVERSATIONS, MESSAGES);
    closeConnection();
  }
};

TEST_F(BusyOwner, CommitsBesideFourReadersOfABigStoreWithoutIndexes) {
  constexpr Clock::duration TIME = 6s;
  ListCondition newest;
  newest.limit = 20;
  const auto readsThreads = [] {
    std::vector<Thread> out;
    const int ret = db_get_threads(out);
    return is_kept_out(ret) || (ret == DB_SUCCESS && out.size() == CONVERSATIONS);
  };
  const auto readsAThread = [] {
    Thread out;
    const int ret = db_get_thread(7, out);
    return is_kept_out(ret) || ret == DB_SUCCESS;
  };
  const auto readsTheNewest = [&newest] {
    std::vector<Message> out;
    const int ret = db_get_message_list(newest, out);
    return is_kept_out(ret) || (ret == DB_SUCCESS && out.size() == 20u);
  };
  const auto readsAConversation = [] {
    std::vector<Conversation> out;
    const int ret = db_get_conversations(7, out);
    return is_kept_out(ret) || (ret == DB_SUCCESS && out.size() >= MESSAGES / CONVERSATIONS);
  };
  startReaders({readsThreads, readsAThread, readsTheNewest, readsAConversation}, TIME);

  DBMgr& store = *DBMgr::getInstance();
  int commits = 0;
  for (const Clock::time_point end = Clock::now() + TIME; Clock::now() < end; ++commits) {
    std::this_thread::sleep_for(100ms);
    ASSERT_EQ(store.beginTransaction(), DB_SUCCESS);
    ASSERT_EQ(store.execStatement("INSERT INTO msg_message_table (convId, msgType, storageFolder, "
                                  "displayTime) VALUES (7, 'sms', 1, 99999);"),
              DB_SUCCESS);
    ASSERT_EQ(store.endTransaction(true), DB_SUCCESS);
  }
  expectReadersSawWhatTheyShould();
  EXPECT_GT(commits, 3);
  EXPECT_TRUE(FakePlatform::get().problems().empty());
}

}  // namespace

}  // namespace msg_tarvel::db
