// The queries on many threads at once, each on its own connection. ThreadSanitizer runs these too.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/fake_platform.h"
#include "support/item_fields.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

constexpr int CONVERSATIONS = 8;
constexpr int MESSAGES_EACH = 5;
constexpr int ROUNDS = 20;

std::string phone_number(int convId) { return "+1415555010" + std::to_string(convId); }

/** Conversations 1 to 8; message 10 * c + i is number i of conversation c. */
class QueriesOnThreads : public StoreTest {
 protected:
  QueriesOnThreads() {
    FakePlatform::get().set("db/csc/salescode", "ATT");
    raw().exec("BEGIN");
    for (int convId = 1; convId <= CONVERSATIONS; ++convId) insertConversation(convId);
    raw().exec("COMMIT");
  }

 private:
  void insertConversation(int convId) {
    const std::string conversation = std::to_string(convId);
    insert("msg_conversation_table", {{"convId", conversation}, {"msgCnt", "1"}});
    insert("msg_address_table", {{"convId", conversation},
                                 {"addressType", "0"},
                                 {"address", quoted(phone_number(convId))}});
    for (int i = 1; i <= MESSAGES_EACH; ++i) {
      const std::string msgId = std::to_string(10 * convId + i);
      insert("msg_message_table", {{"msgId", msgId},
                                   {"convId", conversation},
                                   {"msgType", "'mms'"},
                                   {"storageFolder", "1"},
                                   {"displayTime", msgId}});
      insert("msg_mms_content_table", {{"msgId", msgId}, {"filename", quoted(msgId)}});
      insert("msg_nms_meta_table", {{"msgId", msgId}, {"objectId", quoted(msgId)}});
    }
  }
};

/** Expects the messages of one conversation to be right, newest first, with all their parts. */
void expect_messages_of(int convId) {
  ListCondition cond;
  cond.convIds = {convId};
  std::vector<Message> messages;
  EXPECT_EQ(db_get_message_list(cond, messages), DB_SUCCESS);
  ASSERT_EQ(messages.size(), static_cast<std::size_t>(MESSAGES_EACH));
  int msgId = 10 * convId + MESSAGES_EACH;
  for (const Message& message : messages) {
    EXPECT_EQ(message.msgId, msgId);
    ASSERT_EQ(message.addresses.size(), 1u);
    EXPECT_EQ(message.addresses[0].address, phone_number(convId));
    ASSERT_EQ(message.contents.size(), 1u);
    EXPECT_EQ(message.contents[0].filename, std::to_string(msgId));
    EXPECT_EQ(message.nmsMsgMeta.objectId, std::to_string(msgId));
    --msgId;
  }
}

void expect_conversation(int convId) {
  std::vector<Conversation> conversations;
  EXPECT_EQ(db_get_conversations(convId, conversations), DB_SUCCESS);
  ASSERT_EQ(conversations.size(), static_cast<std::size_t>(MESSAGES_EACH));
  EXPECT_EQ(conversations.front().msgId, 10 * convId + 1);
  std::vector<Thread> threads;
  EXPECT_EQ(db_get_threads(threads), DB_SUCCESS);
  EXPECT_EQ(threads.size(), static_cast<std::size_t>(CONVERSATIONS));
}

void expect_found(int convId) {
  std::vector<Address> key(1);
  key[0].address = phone_number(convId);
  int threadId = 0;
  EXPECT_EQ(db_check_thread_address_exist(key, &threadId), DB_SUCCESS);
  EXPECT_EQ(threadId, convId);
}

TEST_F(QueriesOnThreads, EachThreadGetsTheRightAnswers) {
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  threads.reserve(CONVERSATIONS);
  for (int convId = 1; convId <= CONVERSATIONS; ++convId) {
    threads.emplace_back([convId, &ready] {
      // All first uses of the settings and the paths meet.
      for (++ready; ready < CONVERSATIONS;) std::this_thread::yield();
      init_db();
      for (int round = 0; round < ROUNDS; ++round) {
        expect_messages_of(convId);
        expect_conversation(convId);
        expect_found(convId);
      }
      deinit_db();
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const LogLine& line : FakePlatform::get().lines()) EXPECT_NE(line.priority, 6) << line;
}

TEST_F(QueriesOnThreads, ReadersSeeWholeMessagesWhileAnotherThreadWrites) {
  std::atomic<bool> done{false};
  std::thread writer([&done] {
    init_db();
    DBMgr* const manager = DBMgr::getInstance();
    for (int round = 0; round < ROUNDS; ++round) {
      EXPECT_EQ(manager->beginTransaction(), DB_SUCCESS);
      EXPECT_EQ(manager->execStatement("UPDATE msg_message_table SET mainText = 'round " +
                                       std::to_string(round) + "';"),
                DB_SUCCESS);
      EXPECT_EQ(manager->endTransaction(true), DB_SUCCESS);
    }
    deinit_db();
    done = true;
  });
  const auto read = [&done] {
    init_db();
    do {
      std::vector<Conversation> conversations;
      EXPECT_EQ(db_get_conversations(1, conversations), DB_SUCCESS);
      EXPECT_EQ(conversations.size(), static_cast<std::size_t>(MESSAGES_EACH));
      for (const Conversation& each : conversations) {
        EXPECT_EQ(each.mainText, conversations.front().mainText);
      }
    } while (!done);
    deinit_db();
  };
  std::thread reader(read);
  read();
  reader.join();
  writer.join();
}

}  // namespace

}  // namespace msg_tarvel::db
