// A store whose database is damaged anywhere, or was made by somebody who means harm: whoever looks
// at it says what he can, in time and without much memory, changes nothing, leaves nothing behind
// and tells the terminal nothing that it would obey.

#include <glib.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "db/query_outcome.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/extent.h"
#include "tool/tool_support.h"

#ifdef TEST_LOOKS_FOR_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

using Command = std::vector<std::string>;
using Draw = std::mt19937;

/** What a sanitizer makes of ten seconds, and of memory, says nothing of the programs. */
#ifdef TEST_OF_INSTRUMENTED
constexpr unsigned MOST_SECONDS = 100;  // of the processor
constexpr unsigned LONGEST_WAIT = 240;  // whatever it does
constexpr bool IS_MEMORY_KNOWN = false;
/** A program takes a quarter of a second there: of what every run tries, one in so many. */
constexpr std::size_t FEWER = 5;
#else
constexpr unsigned MOST_SECONDS = 10;   // of the processor
constexpr unsigned LONGEST_WAIT = 240;  // whatever it does, on a machine with much other work
constexpr bool IS_MEMORY_KNOWN = true;
constexpr std::size_t FEWER = 1;
#endif
constexpr long MOST_KILOBYTES = 200'000;

/** On a processor that is slower, or as busy, as many times as long, which the tool allows too. */
unsigned most_seconds() {
  constexpr int ROUNDS = 200'000;
  constexpr std::clock_t TIME_THERE = 250;
  std::clock_t longest = 0;
  for (int i = 0; i < 5; ++i) {
    const std::clock_t begin = std::clock();
    volatile unsigned int sum = 0;
    for (int round = 0; round < ROUNDS; ++round) sum = sum * 31 + static_cast<unsigned int>(round);
    longest = std::max(longest, std::clock() - begin);
  }
  static_assert(CLOCKS_PER_SEC == 1'000'000);
  return MOST_SECONDS * std::max(1U, static_cast<unsigned int>(longest / TIME_THERE));
}

// ---- The library -------------------------------------------------------------------------------

template <typename Item, typename Query>
void ask_for_list(const Query& query) {
  std::vector<Item> items;
  const int result = query(items);
  EXPECT_TRUE(result == db::DB_SUCCESS || result < 0) << result;
}

template <typename Item, typename Query>
void ask_for_item(const Query& query) {
  Item item;
  const int result = query(item);
  EXPECT_TRUE(result == db::DB_SUCCESS || result < 0) << result;
}

void ask_for_messages() {
  ListCondition some;
  some.limit = 3;
  some.convIds = {1, 2, 3};
  for (const ListCondition& condition : {ListCondition(), some}) {
    ask_for_list<Message>([&](auto& out) { return db::db_get_message_list(condition, out); });
  }
  ask_for_list<Message>(
      [](auto& out) { return db::db_get_messages_by_time(1'700'000'000'000, NO_FOLDER, out); });
  ask_for_list<Message>([](auto& out) { return db::db_get_unsynced_messages(out); });
  ask_for_list<Message>([](auto& out) {
    return db::db_get_standalone_messages({0, 1, 2, 3}, out);
  });
  ask_for_list<Message>([](auto& out) { return db::db_get_deleted_messages(false, out); });
  for (int id = 1; id < 6; ++id) {
    ask_for_item<Message>([id](auto& out) { return db::db_get_message(id, out); });
    ask_for_item<Conversation>([id](auto& out) { return db::db_get_conversation(id, out); });
    ask_for_list<Content>([id](auto& out) { return db::db_get_contents(id, out); });
    ask_for_item<Content>([id](auto& out) { return db::db_get_sending_msg_content_info(id, out); });
    ask_for_item<NmsMsgMeta>([id](auto& out) { return db::db_get_nms_msg_meta(id, "", out); });
  }
  ask_for_item<Message>([](auto& out) { return db::db_get_message(1, "sms", MAIN_FOLDER_1, out); });
}

void ask_for_conversations() {
  ask_for_list<Thread>([](auto& out) { return db::db_get_threads(out); });
  for (int id = 1; id < 4; ++id) {
    ask_for_item<Thread>([id](auto& out) { return db::db_get_thread(id, out); });
    ask_for_list<Conversation>([id](auto& out) { return db::db_get_conversations(id, out); });
    ask_for_list<Address>([id](auto& out) { return db::db_get_addresses(id, out); });
  }
  ask_for_item<int>([](int& threadId) {
    std::vector<Address> people(1);
    people[0].address = "+14155550111";
    return db::db_check_thread_address_exist(people, &threadId);
  });
}

void ask_for_the_rest() {
  ask_for_list<SimInfo>([](auto& out) { return db::db_get_sim_infos(out); });
  ask_for_item<Content>(
      [](auto& out) { return db::db_get_sending_file_content_info("/path/1", out); });
  ask_for_item<bool>([](bool& out) { return db::db_has_download_required_message(&out); });
  ask_for_list<NmsMsgMeta>([](auto& out) {
    return db::db_get_uncorrelated_nms_msg_metas("p1", NmsMsgMeta::BT_CORRELATION,
                                                 NmsMsgMeta::PRIMARY_OR_SECONDARY_ID, true, out);
  });
  for (const bool isDeleted : {false, true}) {
    ask_for_list<NmsMsgMeta>(
        [isDeleted](auto& out) { return db::db_get_sync_required_nms_msg_metas(isDeleted, out); });
  }
  ask_for_list<NmsMsgMeta>(
      [](auto& out) { return db::db_get_download_required_nms_msg_metas(out); });
  ask_for_item<unsigned long long>([](unsigned long long& notiIdx) {
    std::string token;
    return db::db_get_subscription_info(notiIdx, token);
  });
}

/** Asks the library everything that it answers, in both ways. */
void ask_everything() {
  FakePlatform::get().set("db/csc/salescode", "ATT");
  for (const bool isFast : {true, false}) {
    db::fastQueriesAreOn = isFast;
    ask_for_messages();
    ask_for_conversations();
    ask_for_the_rest();
  }
}

/** A forked child leaves without anybody's look at what it has lost. */
bool has_lost_memory() {
#ifdef TEST_LOOKS_FOR_LEAKS
  return __lsan_do_recoverable_leak_check() != 0;
#else
  return false;
#endif
}

// ---- Stores ------------------------------------------------------------------------------------

/** Values that no program of ours writes. */
const std::vector<std::string>& odd_values() {
  static const std::vector<std::string> all = {
      "NULL", "''", "'text'", "-1", "2147483648", "-2147483649", "9223372036854775807",
      "-9223372036854775808", "1e308", "9e999", "0.5", "x'00'", "x'FFFE'", "zeroblob(100000)",
      // No UTF-8: a lone byte, a surrogate, an overlong slash, a cut sequence, what is beyond it.
      "CAST(x'80' AS TEXT)", "CAST(x'EDA080' AS TEXT)", "CAST(x'C0AF' AS TEXT)",
      "CAST(x'61E282' AS TEXT)", "CAST(x'F5808080' AS TEXT)", "CAST(x'6100620063' AS TEXT)",
      // What a terminal obeys.
      "char(27) || '[2J' || char(127, 155, 8238, 8295, 1564, 13, 10, 7)", "CAST(x'9B324A' AS TEXT)",
      "printf('%.*c', 1000000, 'x')", "'/../../etc/passwd'"};
  return all;
}

/** A store that is whole but for this. */
using Mutation = void (*)(Draw& draw, std::string& bytes);

constexpr std::size_t HEADER = 100;
constexpr std::size_t PAGE = 4096;

void scribble(Draw& draw, std::string& bytes, std::size_t at, std::size_t most) {
  for (std::size_t count = 1 + draw() % most; count > 0 && at < bytes.size(); --count) {
    bytes[at++] = static_cast<char>(draw() % 256);
  }
}

void change_header(Draw& draw, std::string& bytes) { scribble(draw, bytes, draw() % HEADER, 8); }

/** Somewhere where something is. */
void change_content(Draw& draw, std::string& bytes) {
  std::size_t at = 0;
  while (at < HEADER || bytes[at] == '\0') at = draw() % bytes.size();
  scribble(draw, bytes, at, 16);
}

/** Where a page says what it is and where its cells are. */
void change_page_header(Draw& draw, std::string& bytes) {
  const std::size_t page = draw() % (bytes.size() / PAGE);
  scribble(draw, bytes, page * PAGE + (page == 0 ? HEADER : 0) + draw() % 24, 4);
}

void change_pages(Draw& draw, std::string& bytes) {
  const std::size_t pages = bytes.size() / PAGE;
  const std::size_t to = draw() % pages * PAGE;
  if (draw() % 3 == 0) {
    bytes.replace(to, PAGE, PAGE, '\0');
  } else {
    bytes.replace(to, PAGE, bytes.substr(draw() % pages * PAGE, PAGE));
  }
}

void change_size(Draw& draw, std::string& bytes) {
  bytes.resize(draw() % 4 == 0 ? bytes.size() + draw() % (4 * PAGE) : draw() % bytes.size());
}

void claim_write_ahead_mode(Draw& draw, std::string& bytes) {
  constexpr std::size_t VERSIONS = 18;
  const char* const claims[] = {"\2\2", "\1\2", "\2\1"};
  bytes.replace(VERSIONS, 2, claims[draw() % 3]);
  if (draw() % 2 == 0) change_content(draw, bytes);
}

constexpr Mutation MUTATIONS[] = {change_header, change_content, change_page_header,
                                  change_pages,  change_size,    claim_write_ahead_mode};

class HostileStores : public ToolTest {
 protected:
  void SetUp() override {
    create();
    EXPECT_EQ(run({"generate", "--messages", "40"}).status, 0);
    RawConnection store(dbFile());
    store.exec(
        "PRAGMA journal_mode = PERSIST; INSERT INTO msg_ft_content_table (msgId, filepath) VALUES "
        "(1, '/path/1'); INSERT INTO deleted_msg_table (msgId, storageFolder) VALUES (99, 1); "
        "INSERT INTO msg_nms_meta_table (msgId, objectId, primaryId, secondaryId, BTCorrelated, "
        "MSSICorrelated) SELECT msgId, 'o', 'p1', 'p1', 0, 0 FROM msg_message_table WHERE msgId < "
        "9;");
    _tables = store.column(
        "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%';");
    fs::create_directory(temporary());
    fs::copy(dataDir(), folder() + "/whole", fs::copy_options::recursive);
    _whole = content_of(dbFile());
  }

  std::string temporary() const { return folder() + "/temporary"; }
  std::string pictures() const { return folder() + "/pictures"; }
  std::string target() const { return folder() + "/backup.db"; }
  const std::string& whole() const { return _whole; }
  const std::vector<std::string>& tables() const { return _tables; }
  const std::map<int, int>& statuses() const { return _statuses; }
  long runs() const { return _runs; }

  void beginAnew() const {
    fs::remove_all(dataDir());
    fs::copy(folder() + "/whole", dataDir(), fs::copy_options::recursive);
  }

  void replaceDatabase(const std::string& bytes) const {
    file("data/dbspace/.msg-tarvel-server.db", bytes);
  }

  void changeBy(const std::string& sql) const {
    RawConnection store(dbFile());
    const std::string all = "PRAGMA journal_mode = PERSIST; PRAGMA synchronous = OFF; " + sql;
    EXPECT_EQ(sqlite3_exec(store.handle(), all.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(store.handle());
  }

  std::vector<std::string> columnsOf(const std::string& table) const {
    return RawConnection(dbFile()).column("SELECT name FROM pragma_table_info(" + quoted(table) +
                                          ");");
  }

  /** The bytes of every file of the store, by path. */
  std::map<std::string, std::string> storeFiles() const {
    std::map<std::string, std::string> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dataDir())) {
      files[entry.path()] = entry.is_regular_file() ? content_of(entry.path()) : "";
    }
    return files;
  }

  std::vector<Command> lookingCommands() const {
    return {{"check"},
            {"threads"},
            {"messages", "--json"},
            {"export"},
            {"info"},
            {"repair", "--dry-run"},
            {"backup", target(), "--redact"},
            {"messages"},
            {"message", "1", "2", "3"},
            {"find", "+14155550111", "--explain"},
            {"export", "--format", "xml"},
            {"query", "db_get_threads"},
            {"backup", target()},
            {"conversation", "1"},
            {"query", "db_get_message_list"},
            {"buffer", "encode", "1"},
            {"export", "--media", pictures()}};
  }

  /** Each query by its name. */
  static const std::vector<Command>& queryCommands() {
    static const std::vector<Command> all = {
        {"db_get_message", "1"},
        {"db_get_message", "1", "sms", "1"},
        {"db_get_message_list", "folderType=-2", "convIds=1,2,3", "limit=3"},
        {"db_get_standalone_messages", "0", "1", "2", "3"},
        {"db_get_messages_by_time", "1700000000000", "0"},
        {"db_get_unsynced_messages"},
        {"db_get_deleted_messages", "0"},
        {"db_check_thread_address_exist", "+14155550111"},
        {"db_get_thread", "1"},
        {"db_get_threads"},
        {"db_get_conversation", "1"},
        {"db_get_conversations", "1"},
        {"db_get_addresses", "1"},
        {"db_get_sim_infos"},
        {"db_get_contents", "1"},
        {"db_get_sending_msg_content_info", "1"},
        {"db_get_sending_file_content_info", "/path/1"},
        {"db_get_nms_msg_meta", "1"},
        {"db_get_nms_msg_meta", "0", "o"},
        {"db_has_download_required_message"},
        {"db_get_uncorrelated_nms_msg_metas", "0", "0", "1", "p1"},
        {"db_get_sync_required_nms_msg_metas", "0"},
        {"db_get_download_required_nms_msg_metas"},
        {"db_get_subscription_info"}};
    return all;
  }

  std::vector<Command> writingCommands() const {
    return {{"import", file("b.xml", backup(sms({})))}, {"repair"}, {"create"}, {"generate"}};
  }

  /** What ends a program that takes too long. */
  static Command limits() {
    return {"timeout",       "--foreground",
            "--signal=KILL", std::to_string(LONGEST_WAIT),
            "prlimit",       "--cpu=" + std::to_string(most_seconds())};
  }

  /** Runs a command, which ends in time and by itself. */
  ProcessResult runInTime(const Command& arguments) {
    Command command = limits();
    command.emplace_back(TOOL_PROGRAM);
    command.insert(command.end(), arguments.begin(), arguments.end());
    Command variables = environment();
    variables.push_back("TMPDIR=" + temporary());
    ProcessResult result = run_program(command, variables);
    EXPECT_TRUE(result.status == 0 || result.status == 1 || result.status == 3)
        << arguments.front() << ": " << result.status << ": " << result.err;
    noteMemory(result.kilobytes);
    ++_statuses[result.status];
    ++_runs;
    return result;
  }

  ProcessResult expectToCope(const Command& command) {
    SCOPED_TRACE(::testing::PrintToString(command));
    ProcessResult result = runInTime(command);
    if (command.front() == "backup") {
      EXPECT_EQ(fs::exists(target()), result.status == 0) << result.status << ": " << result.err;
      fs::remove(target());
    }
    fs::remove_all(pictures());
    if (result.status == 3) {
      EXPECT_NE(result.err, "");
    }
    EXPECT_TRUE(fs::is_empty(temporary()));
    return result;
  }

  /** The next one. */
  void expectAQueryToCope() {
    Command command = queryCommands()[_asked++ % queryCommands().size()];
    command.insert(command.begin(), "query");
    expectToCope(command);
  }

  void expectThatEveryQueryWasAsked() const {
    std::set<std::string> asked;
    for (std::size_t i = 0; i < std::min(_asked, queryCommands().size()); ++i) {
      asked.insert(queryCommands()[i].front());
    }
    std::set<std::string> offered;
    for (const auto& query : json({"query"})) offered.insert(query["name"].get<std::string>());
    EXPECT_EQ(asked, offered);
  }

  /** Who changes a store, all or one in turn. */
  void expectWritersToCope(std::size_t turn) {
    const std::vector<Command> commands = writingCommands();
    for (std::size_t i = 0; i < commands.size(); ++i) {
      if (is_whole_run() || i == turn % commands.size()) expectToCope(commands[i]);
    }
  }

  /** The library's queries, each in both ways, in a process of their own. */
  void expectTheLibraryToCope() {
    const bool hasFailed = HasFailure();  // which a child takes over
    Child asking([this, hasFailed] {
      alarm(LONGEST_WAIT);
      const rlimit limit = {most_seconds(), most_seconds()};
      setrlimit(RLIMIT_CPU, &limit);
      FakePlatform::get().setDataPath(dataDir() + "/");
      ask_everything();
      rusage used = {};
      getrusage(RUSAGE_SELF, &used);
      noteMemory(used.ru_maxrss);
      if (has_lost_memory()) return SANITIZER_REPORT;
      return HasFailure() && !hasFailed ? 1 : 0;
    });
    EXPECT_EQ(asking.wait(), 0);
    ++_runs;
  }

  /** What it showed. */
  std::string expectAHarmlessTerminal(const Command& command) {
    if (command.front() == "buffer") return "";  // which are bytes, and for programs
    SCOPED_TRACE(::testing::PrintToString(command));
    const ProcessResult result = runOnTerminal(
        command, [](const std::string&, pid_t) {}, 60, limits());
    EXPECT_LE(result.status, 3) << result.out;
    rusage used = {};
    getrusage(RUSAGE_CHILDREN, &used);
    noteMemory(used.ru_maxrss);
    EXPECT_TRUE(g_utf8_validate(result.out.data(), static_cast<gssize>(result.out.size()), nullptr))
        << result.out;
    for (const gchar* at = result.out.c_str(); *at; at = g_utf8_next_char(at)) {
      const gunichar character = g_utf8_get_char(at);
      // The terminal itself makes "\r\n" of each end of a line.
      const bool isEndOfLine = character == '\n' || (character == '\r' && at[1] == '\n');
      const GUnicodeType type = g_unichar_type(character);
      EXPECT_TRUE(isEndOfLine || (type != G_UNICODE_CONTROL && type != G_UNICODE_FORMAT) ||
                  character == 0x200D)
          << std::hex << character << " in " << result.out;
    }
    fs::remove(target());
    fs::remove_all(pictures());
    ++_runs;
    return result.out;
  }

  void allowKilobytes(long most) { _mostKilobytes = most; }

  void printMemory() const {
    print_figure("the most memory of a command: " + std::to_string(_kilobytes / 1000) + " MB");
  }

 private:
  void noteMemory(long kilobytes) {
    if (IS_MEMORY_KNOWN) {
      EXPECT_LT(kilobytes, _mostKilobytes);
    }
    _kilobytes = std::max(_kilobytes, kilobytes);
  }

  std::string _whole;
  std::vector<std::string> _tables;
  std::map<int, int> _statuses;
  std::size_t _asked = 0;
  long _runs = 0;
  long _kilobytes = 0;
  long _mostKilobytes = MOST_KILOBYTES;
};

// ---- Damaged and odd ones ----------------------------------------------------------------------

TEST_F(HostileStores, DamagedAnywhereAreLookedAt) {
  const std::size_t step = is_whole_run() ? 1 : FEWER * 49;
  const std::vector<Command> commands = lookingCommands();
  int stores = 0;
  std::size_t next = 0;
  for (std::size_t seed = 0; seed < 1500 && !HasFailure(); seed += step, ++stores) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Draw draw(static_cast<unsigned>(seed));
    std::string bytes = whole();
    MUTATIONS[seed / 4 % std::size(MUTATIONS)](draw, bytes);
    replaceDatabase(bytes);
    const auto before = storeFiles();
    for (std::size_t i = 0; i < (is_whole_run() ? commands.size() : 2); ++i) {
      expectToCope(commands[next++ % commands.size()]);
    }
    expectAQueryToCope();
    EXPECT_TRUE(storeFiles() == before) << "who looks changes nothing";
    if (seed % 4 == 0) expectAHarmlessTerminal(commands[seed / 4 % commands.size()]);
    expectTheLibraryToCope();
    expectWritersToCope(seed / step);
    beginAnew();
  }
  if (is_whole_run() || FEWER == 1) expectThatEveryQueryWasAsked();
  for (const int status : {0, 3}) EXPECT_GT(statuses().count(status), 0U) << status;
  print_figure("damaged stores: " + std::to_string(stores) + ", " + std::to_string(runs()) +
               " runs");
  printMemory();
}

TEST_F(HostileStores, WithOddValuesAreLookedAt) {
  const std::size_t step = is_whole_run() ? 1 : FEWER * 29;
  const std::vector<Command> commands = lookingCommands();
  int stores = 0;
  std::size_t next = 0;
  for (std::size_t seed = 0; seed < 500 && !HasFailure(); seed += step, ++stores) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Draw draw(static_cast<unsigned>(seed));
    // One of them where every list shows it, and some anywhere.
    const std::string& shown = odd_values()[seed % odd_values().size()];
    std::string sql = "UPDATE OR IGNORE msg_message_table SET mainText = " + shown +
                      ", textMessage = " + shown + " WHERE msgId % 3 = 1;";
    for (int change = 0; change < 8; ++change) {
      const std::string& table = tables()[draw() % tables().size()];
      const std::vector<std::string> columns = columnsOf(table);
      sql += "UPDATE OR IGNORE " + table + " SET " + columns[1 + draw() % (columns.size() - 1)] +
             " = " + odd_values()[draw() % odd_values().size()] +
             " WHERE rowid % 3 = " + std::to_string(draw() % 3) + ";";
    }
    changeBy(sql);
    const auto before = storeFiles();
    for (std::size_t i = 0; i < (is_whole_run() ? commands.size() : 2); ++i) {
      expectToCope(commands[next++ % commands.size()]);
    }
    expectAQueryToCope();
    EXPECT_TRUE(storeFiles() == before) << "who looks changes nothing";
    // Where every value is seen, and everywhere else in turn.
    expectAHarmlessTerminal({"messages"});
    if (is_whole_run()) expectAHarmlessTerminal(commands[seed % commands.size()]);
    expectTheLibraryToCope();
    expectWritersToCope(seed / step);
    beginAnew();
  }
  print_figure("stores with odd values: " + std::to_string(stores) + ", " + std::to_string(runs()) +
               " runs");
  printMemory();
}

/** None of a text begins a line, where it could pass for a line of the program's own. */
TEST_F(HostileStores, EndNoLineOfATerminal) {
  std::string sql;
  for (const std::string& table : tables()) {
    RawConnection store(dbFile());
    for (const std::string& column :
         store.column("SELECT name FROM pragma_table_info(" + quoted(table) +
                      ") WHERE type LIKE '%TEXT%' AND pk = 0 AND name <> 'filepath';")) {
      sql += "UPDATE OR IGNORE " + table + " SET " + column +
             " = 'a' || char(10) || 'Zb' || char(13, 10) || 'Zc' || char(13) || 'Zd' || char(11) "
             "|| 'Ze' || char(12) || 'Zf' || char(133) || 'Zg' || char(8232) || 'Zh' || "
             "char(8233) || 'Zi';";
    }
  }
  changeBy(sql);
  bool isShown = false;
  for (const Command& command : lookingCommands()) {
    const std::string shown = expectAHarmlessTerminal(command);
    EXPECT_EQ(shown.find("\nZ"), std::string::npos) << command.front() << ": " << shown;
    isShown = isShown || shown.find("a Zb  Zc") != std::string::npos;
  }
  EXPECT_TRUE(isShown);
}

/** As long as a text may be; whoever shows or writes one has it in memory some times. */
TEST_F(HostileStores, WithTheLongestTextsAreLookedAt) {
  changeBy(
      "UPDATE msg_message_table SET mainText = printf('%.*c', 16999999, 'x'), textMessage = "
      "printf('%.*c', 16999999, 'y') WHERE msgId = 1;");
  const std::vector<Command> shown = {{"messages"}, {"export"}};
  for (const Command& command : is_whole_run() ? lookingCommands() : shown) {
    const ProcessResult result = expectToCope(command);
    if (command.front() == "messages" || command.front() == "export") {
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_GT(result.out.size(), 33'000'000U);
    }
  }
  printMemory();
}

/** Of one byte each, which are six in JSON. */
TEST_F(HostileStores, WithTheLongestTextOfControlCharactersAreLookedAt) {
  constexpr std::size_t LONGEST = 16'999'999;
  constexpr long KILOBYTES_PER_TEXT = 300'000;
  changeBy("UPDATE msg_message_table SET mainText = replace(printf('%.*c', " +
           std::to_string(LONGEST) + ", 'x'), 'x', char(127)) WHERE msgId = 1;");
  const std::vector<Command> shown = {{"message", "1", "--json"},
                                      {"query", "--json", "db_get_message", "1"},
                                      {"messages", "--json"},
                                      {"export"}};
  for (const std::size_t texts : {1U, 2U}) {
    allowKilobytes(static_cast<long>(texts) * KILOBYTES_PER_TEXT);
    for (const Command& command : shown) {
      const ProcessResult result = expectToCope(command);
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_GT(result.out.size(), texts * 6 * LONGEST);
      if (!is_whole_run()) return printMemory();
    }
    // The same once more, which takes no room in the file.
    changeBy(
        "ALTER TABLE msg_message_table DROP COLUMN textMessage; ALTER TABLE msg_message_table ADD "
        "COLUMN textMessage TEXT AS (mainText);");
    printMemory();
  }
}

/** Which takes no room on the disk either. */
TEST_F(HostileStores, WithALongPictureAreExported) {
  const std::string picture =
      RawConnection(dbFile())
          .column("SELECT filepath FROM msg_mms_content_table WHERE filepath <> '' LIMIT 1;")
          .at(0);
  const std::vector<Command> exports = {
      {"export"}, {"export", "--format", "xml"}, {"export", "--media", folder() + "/pictures"}};
  for (const auto& [size, isLeftOut] :
       std::vector<std::pair<std::uintmax_t, bool>>{{60'000'000, false}, {100'000'001, true}}) {
    fs::resize_file(picture, size);
    for (const Command& command : exports) {
      const ProcessResult result = expectToCope(command);
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_EQ(result.err.find("left out: 1 files of more than 100 MB") != std::string::npos,
                isLeftOut)
          << result.err;
      EXPECT_EQ(result.out.size() > 80'000'000, !isLeftOut && command.back() != exports[2].back());
    }
    fs::remove_all(folder() + "/pictures");
  }
  printMemory();
}

// ---- Schemas that mean harm --------------------------------------------------------------------

struct Schema {
  std::string name;
  std::string sql;
  /** The library itself asks on: who may make a schema may keep its users busy. */
  bool isForTheToolAlone = false;
};

constexpr const char* ENDLESS =
    "WITH RECURSIVE endless (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM endless) ";

class HostileSchemas : public HostileStores {
 protected:
  /** A view in a table's place, with `value` for each of its columns. */
  std::string viewInPlaceOf(const std::string& table, const std::string& value,
                            const std::string& with, const std::string& from) const {
    std::string columns;
    for (const std::string& column : columnsOf(table)) {
      columns += (columns.empty() ? "" : ", ") + value + " AS " + column;
    }
    return "DROP TABLE " + table + "; CREATE VIEW " + table + " AS " + with + "SELECT " + columns +
           from + ";";
  }

  std::string tableOfOtherShape(const std::string& table, const std::string& type,
                                const std::string& ending) const {
    std::string columns;
    for (const std::string& column : columnsOf(table)) {
      columns += (columns.empty() ? "" : ", ") + column + " " + type;
    }
    const std::string key = columnsOf(table).front();
    return "CREATE TABLE other (" + columns +
           (ending.empty() ? ")" : ", PRIMARY KEY (" + key + "))") + ending +
           "; INSERT INTO other SELECT * FROM " + table + "; DROP TABLE " + table +
           "; ALTER TABLE other RENAME TO " + table + ";";
  }

  /** Each column but the key is computed when it is read, and not before. */
  std::string tableOfComputed(const std::string& table, const std::string& value) const {
    const std::vector<std::string> columns = columnsOf(table);
    const std::string& key = columns.front();
    std::string sql = "CREATE TABLE other (" + key + " INTEGER PRIMARY KEY); INSERT INTO other (" +
                      key + ") SELECT rowid FROM " + table + "; DROP TABLE " + table +
                      "; ALTER TABLE other RENAME TO " + table + ";";
    for (std::size_t i = 1; i < columns.size(); ++i) {
      sql += "ALTER TABLE " + table + " ADD COLUMN " + columns[i] + " AS (" + value + ");";
    }
    return sql;
  }

  static std::string inMaster(const std::string& type, const std::string& name,
                              const std::string& rootPage, const std::string& sql) {
    return "PRAGMA writable_schema = ON; DELETE FROM sqlite_master WHERE name = " + quoted(name) +
           "; INSERT INTO sqlite_master (type, name, tbl_name, rootpage, sql) VALUES (" +
           quoted(type) + ", " + quoted(name) + ", " + quoted(name) + ", " + rootPage + ", " +
           quoted(sql) + ");";
  }

  std::vector<Schema> schemas() const {
    std::vector<Schema> all = {
        {"a circle of views",
         "DROP TABLE msg_message_table; CREATE VIEW msg_message_table AS "
         "SELECT * FROM circle; CREATE VIEW circle AS SELECT * FROM "
         "msg_message_table;"},
        {"no columns", "DROP TABLE msg_message_table; CREATE TABLE msg_message_table (x);"},
        {"no tables", "DROP TABLE msg_message_table; DROP TABLE msg_conversation_table;"},
        {"endless triggers",
         std::string(
             "CREATE TRIGGER a AFTER INSERT ON msg_message_table BEGIN INSERT INTO temp_log "
             "(data1) ") +
             ENDLESS +
             "SELECT n FROM endless; END; CREATE TRIGGER b AFTER "
             "UPDATE ON msg_conversation_table BEGIN INSERT INTO temp_log (data1) " +
             ENDLESS + "SELECT n FROM endless; END;"},
        {"triggers on triggers",
         "PRAGMA recursive_triggers = ON; CREATE TRIGGER a AFTER INSERT ON temp_log BEGIN INSERT "
         "INTO temp_log (data1) VALUES (1); END; CREATE TRIGGER b AFTER INSERT ON "
         "msg_message_table BEGIN INSERT INTO temp_log (data1) VALUES (1); END;"},
        {"an index on costly words",
         "CREATE INDEX costly ON msg_message_table (length(hex(zeroblob(1000000))));"},
        {"computed columns",
         "ALTER TABLE msg_message_table ADD COLUMN costly AS (hex(zeroblob(1000000)));"},
        {"columns computed of a random text",
         inMaster("table", "msg_sim_table", "2",
                  "CREATE TABLE msg_sim_table (id INTEGER PRIMARY KEY, simIndex AS "
                  "(hex(randomblob(1000000))), Imsi AS (simIndex))")},
        {"columns computed of each other",
         inMaster("table", "msg_sim_table", "2",
                  "CREATE TABLE msg_sim_table (id INTEGER PRIMARY KEY, simIndex AS (Imsi), Imsi "
                  "AS (simIndex))")},
        {"columns computed of rows without end",
         inMaster("table", "msg_sim_table", "2",
                  std::string("CREATE TABLE msg_sim_table (id INTEGER PRIMARY KEY, simIndex AS "
                              "((") +
                      ENDLESS + "SELECT max(n) FROM endless)))")},
        {"names that a terminal obeys",
         "ALTER TABLE msg_message_table ADD COLUMN \"\x1B[2J\n\" TEXT; CREATE TABLE \"\x1B[2J\" "
         "(\"\x7F\"); CREATE VIEW \"\xC2\x9B\" AS SELECT 1;"},
        {"a hidden table",
         "DROP TABLE msg_sim_table; CREATE VIRTUAL TABLE msg_sim_table USING "
         "fts5 (simId, imsi);"},
        {"a tree",
         "DROP TABLE msg_sim_table; CREATE VIRTUAL TABLE msg_sim_table USING rtree (id, "
         "a, b);"},
        {"an unknown module", inMaster("table", "msg_sim_table", "0",
                                       "CREATE VIRTUAL TABLE msg_sim_table USING unknown (a)")},
        {"an unknown collation",
         inMaster("table", "msg_sim_table", "2",
                  "CREATE TABLE msg_sim_table (a TEXT COLLATE unknown PRIMARY KEY)")},
        {"no SQL", inMaster("table", "msg_sim_table", "2", "nonsense")},
        {"a page beyond the end",
         inMaster("table", "msg_sim_table", "99999999", "CREATE TABLE msg_sim_table (a)")},
        {"one page for two tables",
         "PRAGMA writable_schema = ON; UPDATE sqlite_master SET rootpage = (SELECT rootpage FROM "
         "sqlite_master WHERE name = 'msg_message_table') WHERE name = 'msg_address_table';"},
        {"a table for another",
         "PRAGMA writable_schema = ON; UPDATE sqlite_master SET tbl_name = 'msg_message_table' "
         "WHERE name = 'msg_address_table';"},
        {"a text beyond the limit",
         "UPDATE msg_message_table SET mainText = zeroblob(17000001) WHERE msgId = 1;", true},
    };
    std::string allEndless;
    for (const std::string& table : tables()) {
      const std::string endless = viewInPlaceOf(table, "n", ENDLESS, " FROM endless");
      allEndless += endless;
      all.push_back({"endless " + table, endless, true});
      all.push_back({"a row of " + table, viewInPlaceOf(table, "x'80'", "", "")});
      all.push_back(
          {"failing " + table, viewInPlaceOf(table, "abs(-9223372036854775807 - 1)", "", "")});
      all.push_back({"blobs of " + table, tableOfOtherShape(table, "BLOB", "")});
      all.push_back({"computed " + table, tableOfComputed(table, "hex(zeroblob(5000))")});
      all.push_back({"no rowid of " + table, tableOfOtherShape(table, "TEXT", " WITHOUT ROWID")});
    }
    all.push_back({"everything endless", allEndless, true});
    return all;
  }
};

/** As many bytes as one likes, which take no room on the disk. */
TEST_F(HostileSchemas, TakeNoLongerInALongFile) {
  changeBy(viewInPlaceOf("msg_conversation_table", "n", ENDLESS, " FROM endless"));
  fs::resize_file(dbFile(), 20'000'000);
  for (const char* const command : {"threads", "check", "info"}) expectToCope({command});
}

/** And one that is full of them: the tool allows more work to who looks at more. */
TEST_F(HostileSchemas, EndInTimeInAFullFile) {
  changeBy(
      "CREATE TABLE filling (x); INSERT INTO filling VALUES (zeroblob(9750000)), "
      "(zeroblob(9750000));" +
      viewInPlaceOf("msg_conversation_table", "n", ENDLESS, " FROM endless"));
  EXPECT_GT(fs::file_size(dbFile()), 19'500'000U);
  for (const Command& command : lookingCommands()) {
    if (is_whole_run() || command.front() == "threads") expectToCope(command);
  }
}

/**
 * One operation of each takes hours, or each of few takes long. The one of a test run is as long as
 * the limit.
 */
TEST_F(HostileSchemas, WithCostlyFunctionsEndInTime) {
  const auto repeated = [](int count, const std::string& letter) {
    return "printf('%.*c', " + std::to_string(count) + ", '" + letter + "')";
  };
  const std::string rows =
      "WITH RECURSIVE some (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM some LIMIT 300000) ";
  const std::string text = repeated(8000000, "a");
  const std::vector<std::string> costly = {
      text + " LIKE '%' || " + repeated(40000, "a") + " || 'b'",
      text + " GLOB '*' || " + repeated(40000, "a") + " || 'b'",
      "instr(" + text + ", " + repeated(4000000, "a") + " || 'b')",
      "trim(" + text + ", " + repeated(4000000, "b") + " || 'a')",
      "replace(" + text + ", " + repeated(4000000, "a") + " || 'b', 'c')"};
  std::vector<std::string> schemas;
  schemas.reserve(costly.size() + 5);
  for (const std::string& value : costly) {
    schemas.push_back(viewInPlaceOf("msg_message_table", value, "", ""));
  }
  for (const std::string value :
       {"length(hex(zeroblob(8000000 + n)))", "length(quote(randomblob(8000000 + n)))"}) {
    schemas.push_back(
        viewInPlaceOf("msg_message_table", "n", rows, " FROM some WHERE " + value + " < 3"));
  }
  schemas.push_back(viewInPlaceOf("msg_message_table", "n", rows,
                                  " FROM some WHERE (" + text + " || n) = (" + text + " || -n)"));
  schemas.push_back(tableOfComputed("msg_message_table", costly[0]));
  schemas.push_back(tableOfComputed("msg_message_table", "hex(" + text + ")"));
  // The first is that of all that reaches the limit of time.
  const std::vector<std::string> reasons = {
      "a query takes more work than a store of this size can need", "out of memory",
      "a text of it is longer than 17 MB"};
  const std::vector<Command> tried = {
      {"messages"}, {"export"}, {"check"}, {"query", "db_get_message_list"}};
  for (std::size_t i = 0; i < (is_whole_run() ? schemas.size() : 1); ++i) {
    SCOPED_TRACE(schemas[i]);
    changeBy(schemas[i]);
    for (std::size_t j = 0; j < (is_whole_run() ? tried.size() : 1); ++j) {
      const ProcessResult result = expectToCope(tried[j]);
      if (i == 0) {
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.err, "msg-tarvel: cannot use the message store: " + reasons[0] + "\n");
      }
      if (result.status != 3) continue;
      EXPECT_TRUE(std::any_of(reasons.begin(), reasons.end(), [&result](const std::string& reason) {
        return result.err.find(": " + reason + "\n") != std::string::npos;
      })) << result.err;
    }
    if (is_whole_run()) expectWritersToCope(0);
    beginAnew();
  }
}

/** Each text is as long as it may be; together they are of any length, in a file that holds
 * nothing. */
TEST_F(HostileSchemas, WithRowsOfManyLongTextsTakeLittleMemory) {
  constexpr const char* LONG_TEXT = "printf('%.*c', 16000000, 'x')";
  const std::vector<Command> tried = {{"check"}, {"export"}};
  for (const std::string table : {"msg_message_table", "msg_sim_table"}) {
    if (!is_whole_run() && table == "msg_sim_table") continue;
    changeBy(viewInPlaceOf(table, LONG_TEXT, "", ""));
    for (const Command& command : is_whole_run() ? lookingCommands() : tried) {
      const ProcessResult result = expectToCope(command);
      if (command != tried[1]) continue;
      EXPECT_EQ(result.status, 3);
      EXPECT_NE(result.err.find(": out of memory\n"), std::string::npos) << result.err;
    }
    beginAnew();
  }
  printMemory();
}

TEST_F(HostileSchemas, AreLookedAt) {
  const std::vector<Command> looking = lookingCommands();
  std::size_t next = 0;
  std::size_t tried = 0;
  for (const Schema& schema : schemas()) {
    SCOPED_TRACE(schema.name);
    if (!is_whole_run() && ++next % (3 * FEWER) != 0) continue;
    changeBy(schema.sql);
    const auto before = storeFiles();
    for (std::size_t i = 0; i < looking.size(); ++i) {
      if (is_whole_run() || i == next % looking.size()) expectToCope(looking[i]);
    }
    expectAQueryToCope();
    if (is_whole_run()) expectAHarmlessTerminal(looking[tried % looking.size()]);
    EXPECT_TRUE(storeFiles() == before) << "who looks changes nothing";
    if (!schema.isForTheToolAlone) expectTheLibraryToCope();
    if (schema.isForTheToolAlone && next % 2 == 0) expectToCope({"check"});
    if (is_whole_run() || next % 4 == 0) expectWritersToCope(next / 4);
    beginAnew();
    ++tried;
    if (HasFailure()) return;
  }
  print_figure("hostile schemas: " + std::to_string(tried) + ", " + std::to_string(runs()) +
               " runs");
  printMemory();
}

}  // namespace
}  // namespace msg_tarvel
