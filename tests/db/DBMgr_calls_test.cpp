// What the connection manager asks of the system by itself.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "support/as_root.h"
#include "support/fake_platform.h"
#include "support/library_calls.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

using CallsTest = DataDirTest;

TEST_F(CallsTest, TheFilesAreMadeOpenForReadingAloneAndGivenAwayInOrder) {
  AS_ROOT();
  ASSERT_EQ(rmdir(dataDir().c_str()), 0);
  ASSERT_EQ(DBMgrInternal().createDbFiles(), 0);
  static_assert((O_RDONLY | O_CREAT) == 0100);
  const std::string owner = std::to_string(getuid()) + " 5000";
  EXPECT_EQ(
      LibraryCalls::onFiles(),
      (std::vector<std::string>{
          "access " + dbDir() + " 0", "access " + dataDir() + " 0", "mkdir " + dataDir() + " 0755",
          "mkdir " + dbDir() + " 0755", "access " + dbFile() + " 0",
          // the eight calls on the files
          "open " + dbFile() + " 0100 0644", "open " + journalFile() + " 0100 0644",
          "fchmod " + dbFile() + " 0660", "fchmod " + journalFile() + " 0660",
          "fchown " + dbFile() + " " + owner, "fchown " + journalFile() + " " + owner,
          "close " + dbFile(), "close " + journalFile()}));
}

TEST_F(CallsTest, TheExitHookIsRegisteredOnce) {
  EXPECT_EQ(LibraryCalls::exitHooks(), 0);
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { EXPECT_NE(DBMgr::getInstance(), nullptr); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(LibraryCalls::exitHooks(), 1);
  init_db();
  deinit_db();
  DBMgrInternal::onDestroyed();
  EXPECT_NE(DBMgr::getInstance(), nullptr);
  EXPECT_EQ(LibraryCalls::exitHooks(), 1);
}

TEST_F(CallsTest, AThreadThatHasItsManagerFindsItWithoutALock) {
  const int before = LibraryCalls::locks();
  DBMgr* const manager = DBMgr::getInstance();
  const int locks = LibraryCalls::locks();
  EXPECT_GT(locks, before);
  for (int call = 0; call < 3; ++call) EXPECT_EQ(DBMgr::getInstance(), manager);
  EXPECT_EQ(LibraryCalls::locks(), locks);
}

/** A thread that has a manager; `go` has it end, after it has called `deinit` if that is wanted. */
class UsingThread {
 public:
  explicit UsingThread(std::function<void()> deinit)
      : _thread([this, deinit = std::move(deinit)] {
          init_db();
          EXPECT_EQ(DBMgr::getInstance()->execStatement("SELECT 1;"), 0);
          _isUsing.set_value();
          if (_isToDeinit.get_future().get()) deinit();
        }) {
    _isUsing.get_future().wait();
  }
  UsingThread(const UsingThread&) = delete;
  UsingThread& operator=(const UsingThread&) = delete;
  ~UsingThread() { _thread.join(); }

  std::thread::id id() const { return _thread.get_id(); }
  void go(bool isToDeinit) { _isToDeinit.set_value(isToDeinit); }

 private:
  std::promise<void> _isUsing;
  std::promise<bool> _isToDeinit;
  std::thread _thread;
};

TEST_F(CallsTest, AManagerThatTheExitHookTakesMeanwhileIsLeftToIt) {
  ASSERT_EQ(DBMgr::getInstance()->createDb(), 0);
  DBMgrInternal::onDestroyed();
  FakePlatform::get().clearLines();
  std::promise<void> isEnding;
  std::promise<void> isTaken;
  std::promise<void> hasEnded;
  const auto deinit = [&] {
    LibraryCalls::onNextLock([&] {
      isEnding.set_value();
      isTaken.get_future().wait();
    });
    deinit_db();
    hasEnded.set_value();
  };
  {
    UsingThread one(deinit);
    UsingThread two(deinit);
    // The hook closes in the order of the ids: while it closes the first, the other one ends.
    one.go(two.id() < one.id());
    two.go(one.id() < two.id());
    isEnding.get_future().wait();
    LibraryCalls::onNextLock([&] {
      LibraryCalls::onNextLock([&] {
        isTaken.set_value();
        hasEnded.get_future().wait();
      });
    });
    DBMgrInternal::onDestroyed();
  }
  EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);
  EXPECT_TRUE(FakePlatform::get().problems().empty());
}

}  // namespace

}  // namespace msg_tarvel::db
