// The library in a plug-in: when the last user of the library unloads it, nothing of it stays.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

namespace {

namespace fs = std::filesystem;

/** The program itself uses neither the library nor its platform. */
class UnloadTest : public ::testing::Test {
 protected:
  UnloadTest() {
    std::string pattern = (fs::temp_directory_path() / "unload-XXXXXX").string();
    _folder = mkdtemp(pattern.data());
    setenv("MSG_TARVEL_DATA_DIR", (_folder / "data/").c_str(), 1);
    load();
  }
  ~UnloadTest() override { fs::remove_all(_folder); }

  void load() { _module = dlopen(UNLOAD_MODULE, RTLD_NOW); }
  int useStore() {
    const auto use = reinterpret_cast<int (*)()>(dlsym(_module, "use_store"));
    return use ? use() : -1;
  }
  void unload() { EXPECT_EQ(dlclose(_module), 0) << dlerror(); }

  static bool isLoaded() {
    void* const library = dlopen(LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (library) dlclose(library);
    return library != nullptr;
  }
  /** Whether this process has a file of the store open. */
  bool isStoreOpen() const {
    for (const fs::directory_entry& descriptor : fs::directory_iterator("/proc/self/fd")) {
      std::error_code error;
      const std::string target = fs::read_symlink(descriptor, error).string();
      if (target.rfind(_folder.string(), 0) == 0) return true;
    }
    return false;
  }

 private:
  fs::path _folder;
  void* _module = nullptr;
};

TEST_F(UnloadTest, UnloadingClosesTheConnectionOfAThreadThatLives) {
  ASSERT_EQ(useStore(), 0);
  ASSERT_TRUE(isLoaded());
  ASSERT_TRUE(isStoreOpen());
  unload();
  EXPECT_FALSE(isLoaded());
  EXPECT_FALSE(isStoreOpen());
}

TEST_F(UnloadTest, LoadingAgainAndAgainLeavesNothing) {
  for (int round = 0; round < 25; ++round) {
    std::promise<void> unloaded;
    const std::shared_future<void> isUnloaded = unloaded.get_future().share();
    std::promise<int> used[2];
    std::thread early([&] { EXPECT_EQ(useStore(), 0); });
    early.join();
    std::thread late[2];
    for (int i = 0; i < 2; ++i) {
      late[i] = std::thread([&, i] {
        used[i].set_value(useStore());
        isUnloaded.wait();
      });
    }
    for (std::promise<int>& result : used) EXPECT_EQ(result.get_future().get(), 0);
    ASSERT_TRUE(isStoreOpen());
    unload();
    ASSERT_FALSE(isLoaded());
    EXPECT_FALSE(isStoreOpen());
    unloaded.set_value();
    for (std::thread& thread : late) thread.join();
    load();
  }
}

TEST_F(UnloadTest, AThreadMayEndAfterUnloading) {
  std::promise<int> used;
  std::promise<void> unloaded;
  std::thread thread([&] {
    used.set_value(useStore());
    unloaded.get_future().wait();
  });
  EXPECT_EQ(used.get_future().get(), 0);
  unload();
  EXPECT_FALSE(isLoaded());
  unloaded.set_value();
  thread.join();
}

/** Threads that have nothing to do with the library, and begin and end as fast as they can. */
class OtherThreads {
 public:
  OtherThreads() {
    for (std::thread& parent : _parents) {
      parent = std::thread([this] {
        while (!_isOver) std::thread([this] { ++_ended; }).join();
      });
    }
  }
  OtherThreads(const OtherThreads&) = delete;
  OtherThreads& operator=(const OtherThreads&) = delete;
  ~OtherThreads() {
    _isOver = true;
    for (std::thread& parent : _parents) parent.join();
  }

  int ended() const { return _ended; }
  void waitForOne() const {
    for (const int before = _ended; _ended == before;) std::this_thread::yield();
  }

 private:
  std::atomic<bool> _isOver{false};
  std::atomic<int> _ended{0};
  std::thread _parents[3];
};

TEST_F(UnloadTest, OtherThreadsMayBeginAndEndInThatMoment) {
  const OtherThreads others;
  int meanwhile = 0;
  for (int round = 0; round < 25; ++round) {
    std::thread user([&] { EXPECT_EQ(useStore(), 0); });
    user.join();
    ASSERT_EQ(useStore(), 0);
    others.waitForOne();
    const int before = others.ended();
    unload();
    meanwhile += others.ended() - before;
    ASSERT_FALSE(isLoaded());
    EXPECT_FALSE(isStoreOpen());
    load();
  }
  EXPECT_GT(meanwhile, 0);
}

}  // namespace
