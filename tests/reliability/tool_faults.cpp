#include "reliability/tool_faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>

#include "reliability/extent.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

namespace fs = std::filesystem;

constexpr const char* UNKNOWN = "; whether it was done is not known\n";

constexpr const char* CHANGED = ", after the store was changed\n";

constexpr const char* MENDED = ", but cannot tell what is left: ";

/** A state whose files that an import has not given their names yet have them, or are gone. */
std::string with_waiting_files(const std::string& state, bool haveNames) {
  const std::string prefix = "incoming-";
  std::istringstream lines(state);
  std::string settled;
  for (std::string line; std::getline(lines, line);) {
    const bool isWaiting = line.rfind(prefix, 0) == 0;
    if (isWaiting && !haveNames) continue;
    settled += (isWaiting ? line.substr(prefix.size()) : line) + "\n";
  }
  return settled;
}

/** Names of files without those of pictures that have not got their names. */
std::string without_waiting(const std::string& files) {
  std::istringstream lines(files);
  std::string settled;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("media/incoming-", 0) != 0) settled += line + "\n";
  }
  return settled;
}

/** The numbers up to `all` that are tried; few of the first `start`. */
std::vector<int> numbers_to_try(int start, int all, int points, int step) {
  constexpr int STEP_OF_START = 50;
  std::vector<int> numbers;
  if (is_whole_run()) {
    for (int one = 1; one <= start; one += STEP_OF_START) numbers.push_back(one);
    points = (all - start + step - 1) / step;
  }
  points = std::min(points, all - start);
  for (int point = 1; point <= points; ++point) {
    // The last one too.
    numbers.push_back(start + static_cast<int>(static_cast<long>(all - start) * point / points));
  }
  return numbers;
}

std::set<std::string> lines_of(const std::string& text) {
  std::istringstream stream(text);
  std::set<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

/** That each row, table and picture is as it was or as it has to become. */
void expect_between(const std::string& found, const std::string& before, const std::string& after) {
  const std::set<std::string> beginning = lines_of(before);
  const std::set<std::string> end = lines_of(after);
  const std::set<std::string> now = lines_of(found);
  for (const std::string& line : now) {
    EXPECT_GT(beginning.count(line) + end.count(line), 0U) << line;
  }
  for (const std::string& line : end) {
    if (beginning.count(line) > 0) {
      EXPECT_EQ(now.count(line), 1U) << line;
    }
  }
}

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

void ToolFaults::beginWith(const std::function<void()>& change) {
  change();
  fs::rename(dataDir(), _beginning);
}

void ToolFaults::begin() const {
  fs::remove_all(dataDir());
  if (!fs::exists(_beginning)) return;
  // With owners and groups.
  ASSERT_EQ(run_program({"cp", "-a", _beginning, dataDir()}).status, 0);
}

int ToolFaults::numbersOf(const Run& run) const {
  run(beginFailing(INT_MAX));
  // What comes to no use of the disk does not report.
  const std::string report = content_of(_report);
  return report.empty() ? 0 : -std::stoi(report);
}

void ToolFaults::failEverything(const std::string& what, int points, const Run& start,
                                const Run& count, const Run& runFailing) {
  int tried = 0;
  for (_failure = 0; _failure < _source.failures.size(); ++_failure) {
    const FaultSource::Failure& failure = _source.failures[_failure];
    const int all = numbersOf(count);
    EXPECT_GT(all, 0) << what << ", " << failure.name;
    const int failedBefore = _failed;
    for (const int at : numbers_to_try(numbersOf(start), all, points, failure.step)) {
      SCOPED_TRACE(::testing::Message() << what << ", " << failure.name << " at " << at);
      runFailing(beginFailing(at));
      if (HasFailure()) return;
      ++tried;
    }
    if (is_whole_run() && failure.isEnding) {
      EXPECT_GT(_failed, failedBefore) << what << ", " << failure.name;
    }
  }
  print_figure(what + ": " + std::to_string(tried) + " runs, " + std::to_string(_failed) +
               " failed, " + std::to_string(_unknown) + " of unknown outcome");
  EXPECT_GT(_failed, 5);
}

ToolFaults::Run ToolFaults::start() const {
  return [this](const Environment& counting) { run({"--version"}, counting); };
}

Environment ToolFaults::withSource(const Environment& faulty) const {
  const char* const options = std::getenv("ASAN_OPTIONS");
  Environment all = {
      "LD_PRELOAD=" + _source.library,
      std::string("ASAN_OPTIONS=verify_asan_link_order=0:") + (options ? options : "")};
  all.insert(all.end(), faulty.begin(), faulty.end());
  return all;
}

ProcessResult ToolFaults::run(const std::vector<std::string>& arguments,
                              const Environment& faulty) const {
  return ToolTest::run(arguments, withSource(faulty));
}

bool ToolFaults::hasFailed() const { return fs::file_size(_report) == 0; }

void ToolFaults::countFailed(bool isUnknown) {
  ++_failed;
  if (isUnknown) ++_unknown;
}

std::string ToolFaults::state() const {
  if (!fs::exists(dbFile())) return "none";
  RawConnection store(dbFile());
  std::string text = "version " + store.value("PRAGMA user_version;").value() + "\n";
  for (const std::string& table :
       store.column("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name;")) {
    std::string columns;
    for (const std::string& column :
         store.column("SELECT name FROM pragma_table_info('" + table + "');")) {
      columns += (columns.empty() ? "quote(" : " || ',' || quote(") + column + ")";
    }
    text += table + "\n" + rows("SELECT " + columns + " FROM " + table + ";");
  }
  text += rows(
      "SELECT type || ' ' || name || ': ' || coalesce(sql, '') FROM sqlite_master "
      "ORDER BY type, name;");
  for (const std::string& name : mediaFiles()) {
    text += name + ": " + content_of(mediaDir() + "/" + name) + "\n";
  }
  return text;
}

std::string ToolFaults::files() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(dataDir())) {
    names.push_back(entry.path().lexically_relative(dataDir()).string());
  }
  std::sort(names.begin(), names.end());
  std::string text;
  for (const std::string& name : names) text += name + "\n";
  return text;
}

bool ToolFaults::isUntouched() const {
  return fs::exists(_beginning) && fs::exists(dataDir()) &&
         run_program({"diff", "-r", _beginning, dataDir()}).status == 0;
}

void ToolFaults::expectWhole() const {
  if (!fs::exists(dbFile())) return;
  EXPECT_EQ(rows("PRAGMA integrity_check;"), "ok\n");
}

void ToolFaults::expectSaid(const ProcessResult& result) const {
  EXPECT_EQ(result.status, 3) << result.err;
  EXPECT_TRUE(result.out.empty() || has(result.err, CHANGED)) << result.out;
  EXPECT_EQ(result.err.rfind("msg-tarvel: ", 0), 0U) << result.err;
  EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  const std::vector<std::string>& words = _source.failures[_failure].words;
  EXPECT_TRUE(std::any_of(words.begin(), words.end(), [&result](const std::string& each) {
    return has(result.err, each);
  })) << result.err;
}

Environment ToolFaults::beginFailing(int at) const {
  begin();
  fs::remove(_report);
  return {_source.variable + "=" + std::to_string(_failure) + " " + std::to_string(at) + " " +
          _report};
}

std::string FaultsOfTransactions::messages() {
  return backup(sms({{"body", "one"}}) + sms({{"body", "two"}, {"address", "+14155550122"}}) +
                mms({{"date", "1740000000001"}},
                    text_part("three") + data_part("image/png", "QUJD"),
                    addrs({{137, "+14155550111"}, {151, "+14155550122"}})));
}

void FaultsOfTransactions::damage() const {
  ASSERT_EQ(run({"import", file("b.xml", messages())}).status, 0);
  RawConnection(dbFile()).exec(
      "PRAGMA journal_mode = PERSIST; UPDATE msg_conversation_table SET msgCnt = 9; "
      "INSERT INTO msg_nms_meta_table (msgId) VALUES (77);");
}

void FaultsOfTransactions::failCommand(const std::vector<std::string>& command, int points) {
  begin();
  _before = state();
  _filesBefore = files();
  ASSERT_EQ(run(command).status, 0);
  _after = state();
  ASSERT_NE(_after, _before);
  const auto once = [&](const Environment& counting) { run(command, counting); };
  failEverything(command.front(), points, start(), once,
                 [&](const Environment& faulty) { tryCommand(command, faulty); });
}

void FaultsOfTransactions::failBehindCommit(const std::vector<std::string>& command,
                                            std::size_t forGood, std::size_t once) {
  constexpr int FIRST = 10;
  choose(forGood);
  int before = 0;
  int behind = numbersOf([&](const Environment& counting) { run(command, counting); });
  while (behind - before > 1) {
    const int middle = (before + behind) / 2;
    run(command, beginFailing(middle));
    (state() == _after ? behind : before) = middle;
  }
  choose(once);
  for (int at = behind; at < behind + FIRST && !HasFailure(); ++at) {
    SCOPED_TRACE(::testing::Message() << command.front() << ", behind the commit, at " << at);
    tryCommand(command, beginFailing(at));
  }
}

void FaultsOfTransactions::tryCommand(const std::vector<std::string>& command,
                                      const Environment& faulty) {
  const ProcessResult result = run(command, faulty);
  expectWhole();
  expectOutcome(command.front(), result);
  if (isUntouched()) return;
  const ProcessResult again = run(command);
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(state(), _after);
  if (command.front() == "repair") return;  // which has looked by itself
  const ProcessResult check = run({"check"});
  EXPECT_EQ(check.status, 0) << check.out << check.err;
}

void FaultsOfTransactions::expectOutcome(const std::string& command, const ProcessResult& result) {
  const std::string found = state();
  if (result.status == 0) {
    EXPECT_EQ(found, _after) << result.out;
    EXPECT_EQ(result.err, "");
    return;
  }
  EXPECT_TRUE(hasFailed());
  if (result.status == 1) {
    // What could not be looked at is left, or said to be.
    EXPECT_EQ(command, "repair");
    EXPECT_TRUE(has(result.out, "left: ")) << result.out;
    const bool isMended = has(result.out, "backup: ");
    EXPECT_EQ(has(files(), "before-repair-"), isMended) << result.out;
    if (isMended) {
      expect_between(found, _before, _after);
    } else {
      EXPECT_EQ(found, _before) << result.out;
    }
    return;
  }
  expectSaid(result);
  const bool isUnknown = has(result.err, UNKNOWN);
  const bool isChanged = has(result.err, CHANGED);
  // Pictures of which nobody could find out wait for the next who can.
  const bool mayWait = isUnknown || isChanged;
  const bool isDone = (mayWait ? with_waiting_files(found, true) : found) == _after;
  if (isDone) {
    EXPECT_TRUE(isUnknown || isChanged || has(result.err, MENDED)) << result.err;
  } else {
    EXPECT_FALSE(isChanged);
    EXPECT_EQ(with_waiting_files(found, false), _before) << result.err;
  }
  // The store as it was before a repair stays where it may be needed.
  if (command == "repair") {
    EXPECT_EQ(has(files(), "before-repair-"), isDone || isUnknown) << result.err;
  } else if (!isDone && !isUnknown) {
    // Under a lock nobody could look what became of the pictures.
    const bool isLocked = has(result.err, "it is locked by another process");
    EXPECT_EQ(isLocked ? without_waiting(files()) : files(), _filesBefore) << result.err;
  }
  countFailed(isUnknown);
}

void FaultsOfMaking::makeHalf() const {
  create();
  RawConnection(dbFile()).exec(
      "PRAGMA journal_mode = PERSIST; DROP TABLE msg_sim_table; DROP TABLE mssi_info_table;");
}

void FaultsOfMaking::failCreate(int points) {
  const auto once = [this](const Environment& counting) { run({"create"}, counting); };
  failEverything("create", points, start(), once, [&](const Environment& faulty) {
    const ProcessResult result = run({"create"}, faulty);
    if (result.status != 0) {
      EXPECT_TRUE(hasFailed());
      expectSaid(result);
      countFailed(false);
    } else {
      EXPECT_EQ(run({"check"}).status, 0);
    }
    expectWhole();
    if (isUntouched()) return;
    EXPECT_EQ(run({"create"}).status, 0);
    const ProcessResult check = run({"check"});
    EXPECT_EQ(check.status, 0) << check.out << check.err;
  });
}

ProcessResult FaultsOfTheOwner::own(const Environment& faulty) const {
  Environment variables = environment();
  const Environment more = withSource(faulty);
  variables.insert(variables.end(), more.begin(), more.end());
  return run_program({OWNER_PROGRAM}, variables);
}

int FaultsOfTheOwner::count(const std::string& text) const {
  if (!fs::exists(dbFile())) return 0;
  if (rows("SELECT 1 FROM sqlite_master WHERE name = 'msg_message_table';").empty()) return 0;
  return std::stoi(
      rows("SELECT count(*) FROM msg_message_table WHERE textMessage = " + quoted(text) + ";"));
}

/** Whether one message of the owner's was told of; there are `before` such messages. */
bool FaultsOfTheOwner::isTold(const ProcessResult& result, const std::string& told,
                              const std::string& text, int before) {
  const bool isSaid = has(result.out, told);
  const int added = count(text) - before;
  EXPECT_LE(added, 1);
  EXPECT_TRUE(added == 1 || !isSaid) << "what was told as stored is not seen by others";
  // Of two that fail the first is told of.
  const bool isTheOne = result.status != 0 && !isSaid && !_isFailureTold;
  if (isTheOne) _isFailureTold = true;
  const bool isUnknown = has(result.err, "; it may be stored or not\n");
  // Of what became of a message only the store's own errors say something.
  const bool isOfStore = has(result.err, "the message store");
  EXPECT_TRUE(added == 0 || !isTheOne || !isOfStore || isUnknown) << result.err;
  return isSaid;
}

void FaultsOfTheOwner::failOwner(const std::string& what, int before, int points) {
  const auto once = [this](const Environment& counting) { own(counting); };
  failEverything(
      what, points, [](const Environment&) {}, once,
      [&](const Environment& faulty) {
        const ProcessResult result = own(faulty);
        expectWhole();
        _isFailureTold = false;
        const bool isReceived = isTold(result, "received: ", "Are you coming?", before);
        const bool isSent = isTold(result, "sent: ", "On my way", before);
        if (result.status == 0) {
          EXPECT_TRUE(isReceived && isSent);
        } else {
          EXPECT_EQ(result.status, 1);
          EXPECT_TRUE(hasFailed());
          EXPECT_FALSE(result.err.empty());
          countFailed(has(result.err, "; it may be stored or not\n"));
        }
        const int received = count("Are you coming?");
        const int sent = count("On my way");
        EXPECT_EQ(own().status, 0);
        EXPECT_EQ(count("Are you coming?"), received + 1);
        EXPECT_EQ(count("On my way"), sent + 1);
        EXPECT_EQ(rows("SELECT count(*) FROM msg_conversation_table;"), "1\n");
        const ProcessResult check =
            run({"check", "integrity", "counters", "unread", "last-message"});
        EXPECT_EQ(check.status, 0) << check.out;
      });
}

}  // namespace msg_tarvel
