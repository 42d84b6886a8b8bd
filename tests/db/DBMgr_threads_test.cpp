// Many threads at once, each with a manager of its own. ThreadSanitizer runs these too.

#include <gtest/gtest.h>
#include <limits.h>
#include <pthread.h>

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "support/db_log.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

/** Runs `body` on `count` threads that start it together, and waits for all of them. */
void on_threads(std::size_t count, const std::function<void(std::size_t)>& body) {
  std::atomic<std::size_t> ready{0};
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (std::size_t index = 0; index < count; ++index) {
    threads.emplace_back([&, index] {
      ++ready;
      while (ready < count) std::this_thread::yield();
      body(index);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

class ThreadsTest : public StoreTest {
 protected:
  ThreadsTest() {
    insert("msg_conversation_table", {{"convId", "1"}, {"msgCnt", "1"}});
    insert("msg_message_table", {{"convId", "1"}, {"storageFolder", "1"}});
  }

  static void expectOneThread() {
    std::vector<Thread> threads;
    EXPECT_EQ(db_get_threads(threads), DB_SUCCESS);
    EXPECT_EQ(threads.size(), 1u);
  }
};

TEST_F(ThreadsTest, TenThreadsTimesAHundredShortLivedManagers) {
  const std::size_t before = DBMgrInternal::instanceCount();
  on_threads(10, [](std::size_t) {
    for (int life = 0; life < 100; ++life) {
      init_db();
      EXPECT_EQ(DBMgrInternal().refCount(), 1);
      expectOneThread();
      deinit_db();
    }
  });
  EXPECT_EQ(DBMgrInternal::instanceCount(), before);
  EXPECT_TRUE(FakePlatform::get().problems().empty());
}

TEST_F(ThreadsTest, ManagersOfThreadsThatEndWithoutDeinitStay) {
  constexpr std::size_t COUNT = 16;
  std::vector<DBMgr*> managers(COUNT);
  const std::size_t before = DBMgrInternal::instanceCount();
  on_threads(COUNT, [&managers](std::size_t index) {
    expectOneThread();
    managers[index] = DBMgr::getInstance();
  });
  // All of them ran at once, so no two had the same id.
  EXPECT_EQ(DBMgrInternal::instanceCount(), before + COUNT);
  for (DBMgr* const manager : managers) EXPECT_NE(DBMgrInternal(manager).handle(), nullptr);

  for (int round = 0; round < 5; ++round) {
    on_threads(COUNT, [](std::size_t) { expectOneThread(); });
  }
  EXPECT_TRUE(FakePlatform::get().problems().empty());
}

TEST_F(ThreadsTest, DetachedThreadsMayEndAtAnyTime) {
  std::atomic<int> running{20};
  for (int index = 0; index < 20; ++index) {
    std::thread([&running, counted = index % 2 == 0] {
      if (counted) init_db();
      expectOneThread();
      if (counted) deinit_db();
      --running;
    }).detach();
  }
  while (running > 0) std::this_thread::yield();
  EXPECT_TRUE(FakePlatform::get().problems().empty());
}

TEST_F(ThreadsTest, ThreadsThatAskFirstAtOnceGetTheirOwn) {
  DBMgrInternal::onDestroyed();
  for (int round = 0; round < 50; ++round) {
    DBMgr* managers[2] = {};
    on_threads(2, [&managers](std::size_t index) {
      init_db();
      managers[index] = DBMgr::getInstance();
      EXPECT_EQ(DBMgr::getInstance(), managers[index]);
      // Both live until both have looked.
      static std::atomic<int> looked{0};
      const int target = (looked++ / 2 + 1) * 2;
      while (looked < target) std::this_thread::yield();
      deinit_db();
    });
    EXPECT_NE(managers[0], nullptr);
    EXPECT_NE(managers[0], managers[1]);
    EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);
  }
}

TEST_F(ThreadsTest, ALaterThreadWithTheSameIdTakesOverTheManager) {
  std::promise<std::pair<std::thread::id, DBMgr*>> made;
  std::thread([&made] {
    EXPECT_EQ(DBMgr::getInstance()->execStatement("CREATE TEMP TABLE mark(x);"), 0);
    made.set_value({std::this_thread::get_id(), DBMgr::getInstance()});
  }).detach();
  const auto [id, manager] = made.get_future().get();

  // The more threads there are at a time, the more of the freed ids the system has to give out.
  std::atomic<bool> takenOver{false};
  for (std::size_t count = 1; count < 100 && !takenOver; ++count) {
    on_threads(count, [&, expectedId = id, expectedManager = manager](std::size_t) {
      if (std::this_thread::get_id() != expectedId) return;
      takenOver = true;
      EXPECT_EQ(DBMgr::getInstance(), expectedManager);
      // A temporary table is seen by its own connection only.
      EXPECT_EQ(DBMgr::getInstance()->execStatement("SELECT * FROM mark;"), 0);
    });
  }
  EXPECT_TRUE(takenOver);
}

TEST_F(ThreadsTest, NoThreadKeepsAManagerThatTheExitHookDestroyed) {
  std::promise<void> opened;
  std::promise<void> destroyed;
  std::thread thread([&] {
    expectOneThread();
    init_db();
    opened.set_value();
    destroyed.get_future().wait();
    EXPECT_EQ(DBMgrInternal().handle(), nullptr);
    EXPECT_EQ(DBMgrInternal().refCount(), 0);
    expectOneThread();
  });
  opened.get_future().wait();
  DBMgrInternal::onDestroyed();
  EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);
  destroyed.set_value();
  thread.join();
  EXPECT_EQ(DBMgrInternal::instanceCount(), 1u);
}

TEST_F(ThreadsTest, WritersOfSeveralThreadsWaitForEachOther) {
  on_threads(3, [](std::size_t) {
    init_db();
    DBMgr* const manager = DBMgr::getInstance();
    for (int message = 0; message < 5; ++message) {
      EXPECT_EQ(manager->beginTransaction(), 0);
      EXPECT_EQ(manager->execStatement("INSERT INTO msg_message_table(convId) VALUES (2);"), 0);
      EXPECT_EQ(manager->endTransaction(true), 0);
    }
    deinit_db();
  });
  EXPECT_EQ(raw().value("SELECT count(*) FROM msg_message_table WHERE convId = 2;"), "15");
  EXPECT_TRUE(FakePlatform::get().problems().empty());
}

class FirstUseTest : public DataDirTest {};

TEST_F(FirstUseTest, PathsMayBeAskedForAtOnce) {
  on_threads(8, [this](std::size_t index) {
    const std::function<void()> questions[] = {
        [this] { EXPECT_EQ(get_data_dir_path(), dataDir()); },
        [this] { EXPECT_EQ(get_db_dir_path(), dbDir()); },
        [this] { EXPECT_EQ(get_db_filepath(), dbFile()); },
        [this] { EXPECT_EQ(get_db_journal_filepath(), journalFile()); },
    };
    for (std::size_t i = 0; i < 4; ++i) questions[(index + i) % 4]();
  });
  EXPECT_TRUE(logged({}));
}

/** Takes all that is left of the places at which threads keep values. */
class NoPlacesForValues {
 public:
  NoPlacesForValues() {
    pthread_key_t key = 0;
    while (pthread_key_create(&key, nullptr) == 0) _keys.push_back(key);
  }
  NoPlacesForValues(const NoPlacesForValues&) = delete;
  NoPlacesForValues& operator=(const NoPlacesForValues&) = delete;
  ~NoPlacesForValues() {
    for (const pthread_key_t key : _keys) pthread_key_delete(key);
  }

  /** The calling thread's values at all places, whosever they are. */
  static std::vector<const void*> values() {
    std::vector<const void*> all;
    for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) {
      all.push_back(pthread_getspecific(key));
    }
    return all;
  }

 private:
  std::vector<pthread_key_t> _keys;
};

// Its end waits for whoever takes its manager meanwhile.
TEST_F(FirstUseTest, AThreadKeepsOneValueUntilItsEnd) {
  const std::vector<const void*> before = NoPlacesForValues::values();
  DBMgr::getInstance();
  const std::vector<const void*> after = NoPlacesForValues::values();
  std::size_t kept = 0;
  for (std::size_t i = 0; i < after.size(); ++i) {
    if (after[i] != before[i]) ++kept;
  }
  EXPECT_EQ(kept, 1u);
}

TEST_F(FirstUseTest, ThreadsHaveManagersWhereTheyMayKeepNoMoreValues) {
  const NoPlacesForValues none;
  const std::vector<const void*> before = NoPlacesForValues::values();
  EXPECT_EQ(DBMgr::getInstance()->createDb(), 0);
  EXPECT_EQ(NoPlacesForValues::values(), before);
  on_threads(4, [](std::size_t) {
    EXPECT_EQ(DBMgr::getInstance()->execStatement("SELECT id FROM temp_log;"), 0);
  });
  EXPECT_EQ(DBMgrInternal::instanceCount(), 5u);
}

TEST_F(FirstUseTest, SettingsMayBeReadAtOnce) {
  FakePlatform::get().set("db/csc/salescode", "ATT");
  FakePlatform::get().set("db/csc/country_iso", "KR");
  on_threads(8, [](std::size_t index) {
    for (std::size_t i = 0; i < 2; ++i) {
      if ((index + i) % 2 == 0) {
        EXPECT_EQ(common_util::get_min_match_digit(), 9);
      } else {
        EXPECT_TRUE(common_util::is_linkdial_supported());
      }
    }
  });
  EXPECT_EQ(common_util::get_min_match_digit(), 9);
  EXPECT_TRUE(common_util::is_linkdial_supported());
}

}  // namespace

}  // namespace msg_tarvel::db
