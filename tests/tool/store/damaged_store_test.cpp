// A store whose database is damaged anywhere: whoever looks at it says what he can, changes nothing
// and leaves nothing behind.

#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

class DamagedStore : public ToolTest {
 protected:
  void SetUp() override {
    create();
    EXPECT_EQ(run({"generate", "--messages", "40"}).status, 0);
    _whole = content_of(dbFile());
    fs::create_directory(temporary());
  }

  std::string temporary() const { return folder() + "/temporary"; }
  std::string target() const { return folder() + "/backup.db"; }
  const std::string& whole() const { return _whole; }

  /** The bytes of every file of the store, by path. */
  std::map<std::string, std::string> storeFiles() const {
    std::map<std::string, std::string> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dataDir())) {
      files[entry.path()] = entry.is_regular_file() ? content_of(entry.path()) : "";
    }
    return files;
  }

  void expectEveryCommandToCope() {
    const auto before = storeFiles();
    for (const std::vector<std::string>& command : {std::vector<std::string>{"check"},
                                                    {"threads"},
                                                    {"messages", "--json"},
                                                    {"export"},
                                                    {"info"},
                                                    {"repair", "--dry-run"},
                                                    {"backup", target(), "--redact"}}) {
      SCOPED_TRACE(command.front());
      const ProcessResult result = run(command, {"TMPDIR=" + temporary()});
      EXPECT_TRUE(result.status == 0 || result.status == 1 || result.status == 3)
          << result.status << ": " << result.err;
      EXPECT_EQ(result.status == 3, !result.err.empty()) << result.status << ": " << result.err;
      EXPECT_EQ(fs::exists(target()), command.front() == "backup" && result.status == 0);
      fs::remove(target());
      _statuses.insert(result.status);
    }
    EXPECT_TRUE(storeFiles() == before);
    EXPECT_TRUE(fs::is_empty(temporary()));
  }

  const std::set<int>& statuses() const { return _statuses; }

 private:
  std::string _whole;
  std::set<int> _statuses;
};

// Some seconds: 420 programs, of which instrumented ones take a quarter of a second each. What one
// process cannot show is how each of them ends.
#ifdef TEST_OF_INSTRUMENTED
constexpr int PLACES = 20;
#else
constexpr int PLACES = 60;
#endif

TEST_F(DamagedStore, IsLookedAtByEveryCommand) {
  constexpr std::size_t HEADER = 100;
  constexpr std::size_t LONGEST = 16;
  std::mt19937 draw(60);  // the same places at every run
  for (int place = 0; place < PLACES; ++place) {
    SCOPED_TRACE(place);
    std::string damaged = whole();
    std::size_t at = draw() % HEADER;
    while (place % 8 != 0 && (at < HEADER || damaged[at] == '\0')) {
      at = draw() % (damaged.size() - LONGEST);
    }
    for (std::size_t count = 1 + draw() % LONGEST; count > 0; --count) {
      damaged[at++] = static_cast<char>(draw() % 256);
    }
    if (place % 20 == 19) damaged.resize(draw() % damaged.size());
    file("data/dbspace/.msg-tarvel-server.db", damaged);
    expectEveryCommandToCope();
  }
  EXPECT_EQ(statuses(), (std::set<int>{0, 1, 3})) << "some damage is in nobody's way";
}

TEST_F(DamagedStore, MayClaimTheWriteAheadMode) {
  for (const std::string versions : {"\2\2", "\1\2", "\2\1"}) {
    std::string damaged = whole();
    file("data/dbspace/.msg-tarvel-server.db", damaged.replace(18, 2, versions));
    expectEveryCommandToCope();
    file("data/dbspace/.msg-tarvel-server.db", damaged.replace(1000, 3000, 3000, 'x'));
    expectEveryCommandToCope();
  }
}

}  // namespace
}  // namespace msg_tarvel
