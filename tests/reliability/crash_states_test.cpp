// What a disk may hold of a few writes, one by one: the tests of power cuts see no more than these
// states.

#include "reliability/crash_states.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <set>
#include <string>

#include "support/store.h"
#include "support/text_file.h"

namespace msg_tarvel {

namespace {

/** A file of eight sectors of nothing but dots, and what is written to it. */
class CrashStatesOfWrites : public ::testing::Test {
 protected:
  CrashStatesOfWrites() { write_file(folder() + "/file", old()); }

  static std::string old() {
    std::string dots(4096, '.');
    return dots;
  }

  /** What is there when these bytes of it are `letter`. */
  static std::string with(std::string text, std::size_t from, std::size_t to, char letter) {
    return text.replace(from, to - from, to - from, letter);
  }

  void write(std::size_t place, std::size_t size, char letter) {
    _record += "write " + std::to_string(place) + " " + std::to_string(size) + " 0 file\n" +
               std::string(size, letter) + "\n";
  }
  void sync() { _record += "datasync 0 0 0 file\n"; }

  /** Each text that the file may have. */
  std::set<std::string> texts() const {
    write_file(_place.path() + "/record", _record);
    std::set<std::string> texts;
    CrashStates(DiskTree::of(folder()), _place.path() + "/record")
        .forEach(INT_MAX, [&texts](const CrashState& state) {
          DiskTree tree = state.tree;
          texts.insert(tree.node(tree.find("file")).bytes);
        });
    return texts;
  }

 private:
  const std::string& folder() const { return _folder.path(); }

  const TemporaryFolder _folder;
  const TemporaryFolder _place;
  std::string _record;
};

TEST_F(CrashStatesOfWrites, AreThereLostAndTornBetweenSectors) {
  write(100, 1000, 'a');
  EXPECT_EQ(texts(),
            (std::set<std::string>{old(), with(old(), 100, 1100, 'a'), with(old(), 100, 512, 'a'),
                                   with(old(), 100, 1024, 'a'), with(old(), 512, 1100, 'a'),
                                   with(old(), 1024, 1100, 'a')}));
}

TEST_F(CrashStatesOfWrites, TearOneThatOthersFollow) {
  write(100, 1000, 'a');
  write(1200, 8, 'b');
  write(1300, 8, 'c');
  sync();
  const std::string others = with(with(old(), 1200, 1208, 'b'), 1300, 1308, 'c');
  const std::set<std::string> possible = texts();
  for (const std::size_t cut : {512U, 1024U}) {
    EXPECT_EQ(possible.count(with(others, 100, cut, 'a')), 1U) << "the first bytes, to " << cut;
    EXPECT_EQ(possible.count(with(others, cut, 1100, 'a')), 1U) << "the last bytes, from " << cut;
  }
}

TEST_F(CrashStatesOfWrites, TearNoneThatIsSynced) {
  write(100, 1000, 'a');
  sync();
  write(1200, 8, 'b');
  const std::string first = with(old(), 100, 1100, 'a');
  for (const std::string& text : texts()) {
    if (text.find('b') != std::string::npos) {
      EXPECT_EQ(text, with(first, 1200, 1208, 'b'));
    }
  }
  EXPECT_EQ(texts().count(with(first, 1200, 1208, 'b')), 1U);
}

TEST_F(CrashStatesOfWrites, TearSeveralByChanceWhileOneIsLost) {
  const std::string letters = "abcd";
  for (std::size_t i = 0; i < letters.size(); ++i) write(1024 * i + 256, 512, letters[i]);
  sync();
  int found = 0;
  for (const std::string& text : texts()) {
    int torn = 0;
    int lost = 0;
    for (const char letter : letters) {
      const auto size = std::count(text.begin(), text.end(), letter);
      torn += size == 256 ? 1 : 0;
      lost += size == 0 ? 1 : 0;
    }
    found += torn > 1 && lost > 0 ? 1 : 0;
  }
  EXPECT_GT(found, 0);
}

}  // namespace

}  // namespace msg_tarvel
