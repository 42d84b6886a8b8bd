// bench-queries FOLDER [option of Google Benchmark]...: every query on the store in FOLDER, asked
// of the library and in every other way; named QUERY/WAY. Exits with 1 when two ways do not agree.

#include <benchmark/benchmark.h>
#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "helpers/transaction.h"
#include "queries/raw_loop.h"
#include "queries/same_items.h"
#include "queries/way.h"
#include "store/store_place.h"
#ifdef BENCH_SQLITECPP
#include "queries/sqlitecpp.h"
#endif

namespace msg_tarvel::bench {

namespace {

using std::chrono::steady_clock;

/** Of a store without indexes beyond this many messages, a way that asks row by row gives no list.
 */
constexpr long long MOST_MESSAGES_ROW_BY_ROW = 1000;
/** What takes longer is measured once. */
constexpr std::chrono::seconds LONG_CALL(1);

void require(int ret) {
  if (ret != db::DB_SUCCESS && ret != db::DB_NO_DATA) {
    throw std::runtime_error(db::db_error_text(ret));
  }
}

template <typename Item>
std::size_t count_of(const std::vector<Item>& items) {
  return items.size();
}
template <typename Item>
std::size_t count_of(const Item& /*item*/) {
  return 1;
}

struct NamedWay {
  std::string name;
  std::unique_ptr<Way> way;
};

enum class Length { SHORT, LONG };

class Benchmarks {
 public:
  Benchmarks(std::vector<NamedWay> ways, bool isRowByRowSlow)
      : _ways(std::move(ways)), _isRowByRowSlow(isRowByRowSlow) {}

  /** Checks that every way agrees with the library, and registers each to be timed. */
  template <typename Result>
  void add(const std::string& query, Length length, std::function<void(Result&)> library,
           std::function<void(Way&, Result&)> other) {
    Result expected{};
    const auto libraryTime = _run(library, expected);
    _register(query + "/library", library, libraryTime);

    for (const NamedWay& named : _ways) {
      Way& way = *named.way;
      if (_isRowByRowSlow && length == Length::LONG && way.asksRowByRow()) continue;
      const std::function<void(Result&)> ask = [&way, other](Result& out) { other(way, out); };
      Result found{};
      const auto time = _run(ask, found);
      if (!is_same(expected, found)) {
        throw std::runtime_error(query + ": " + named.name +
                                 " does not give what the library does");
      }
      _register(query + "/" + named.name, ask, time);
    }
  }

 private:
  template <typename Result>
  static steady_clock::duration _run(const std::function<void(Result&)>& ask, Result& out) {
    const auto begin = steady_clock::now();
    ask(out);
    return steady_clock::now() - begin;
  }

  /** What a caller pays: the query, and releasing what it gave. */
  template <typename Result>
  static void _register(const std::string& name, const std::function<void(Result&)>& ask,
                        steady_clock::duration time) {
    auto* const registered =
        benchmark::RegisterBenchmark(name.c_str(), [ask](benchmark::State& state) {
          std::size_t items = 0;
          for ([[maybe_unused]] auto _ : state) {
            Result result{};
            ask(result);
            items = count_of(result);
          }
          state.counters["items"] = static_cast<double>(items);
        });
    if (time > LONG_CALL) registered->Iterations(1)->Repetitions(1);
  }

  std::vector<NamedWay> _ways;
  bool _isRowByRowSlow;
};

/** What is asked for, of this store. */
struct Subjects {
  explicit Subjects(RawLoop& store)
      : biggest(id(store, "convId FROM msg_conversation_table ORDER BY msgCnt DESC, convId")),
        second(id(store, "convId FROM msg_conversation_table WHERE convId <> " +
                             std::to_string(biggest) + " ORDER BY msgCnt DESC, convId")),
        ofTwenty(id(store, "convId FROM msg_conversation_table ORDER BY abs(msgCnt - 20), convId")),
        message(id(store,
                   "msgId FROM msg_message_table WHERE msgType = 'mms' AND storageFolder = 1 AND "
                   "attachedNum > 0 AND msgId > (SELECT max(msgId) / 2 FROM msg_message_table) "
                   "ORDER BY msgId")),
        item(id(store, "itemId FROM msg_message_table WHERE msgId = " + std::to_string(message))),
        withMetadata(id(store, "msgId FROM msg_nms_meta_table WHERE BTCorrelated = 0 ORDER BY id")),
        oldTime(store.number("SELECT displayTime FROM msg_message_table ORDER BY displayTime LIMIT "
                             "1 OFFSET (SELECT count(*) / 10 FROM msg_message_table)")) {}

  static int id(RawLoop& store, const std::string& columnAndRest) {
    return static_cast<int>(store.number("SELECT " + columnAndRest + " LIMIT 1"));
  }

  int biggest;
  int second;
  int ofTwenty;
  /** A multimedia message in the inbox. */
  int message;
  int item;
  int withMetadata;
  /** A tenth of the messages is older. */
  long long oldTime;
};

void add_message_lists(Benchmarks& benchmarks, const Subjects& subjects) {
  using Messages = std::vector<Message>;
  const auto add = [&benchmarks](const char* name, Length length,
                                 const std::function<int(Messages&)>& library,
                                 const Condition& condition) {
    benchmarks.add<Messages>(
        name, length, [library](Messages& out) { require(library(out)); },
        [condition](Way& way, Messages& out) { way.messages(condition, out); });
  };

  add("list of all", Length::LONG,
      [](Messages& out) { return db::db_get_message_list(ListCondition(), out); },
      {"WHERE (storageFolder > 0 AND storageFolder <> 5 AND storageFolder <> 105 AND "
       "storageFolder < 9999) ORDER BY displayTime DESC, msgId",
       {}});

  ListCondition newest;
  newest.limit = 20;
  add("newest 20", Length::SHORT,
      [newest](Messages& out) { return db::db_get_message_list(newest, out); },
      {"WHERE (storageFolder > 0 AND storageFolder <> 5 AND storageFolder <> 105 AND "
       "storageFolder < 9999) ORDER BY displayTime DESC, msgId LIMIT 20",
       {}});

  add("by time", Length::LONG,
      [time = subjects.oldTime](Messages& out) {
        return db::db_get_messages_by_time(time, NO_FOLDER, out);
      },
      {"WHERE displayTime < ? ORDER BY displayTime DESC, msgId", {subjects.oldTime}});

  add("unsynced", Length::LONG, [](Messages& out) { return db::db_get_unsynced_messages(out); },
      {"WHERE read = 1 AND sync = 0 ORDER BY msgType, msgId", {}});

  ListCondition unread;
  unread.folderType = MAIN_FOLDER_1;
  unread.readFilter = 0;
  unread.limit = 20;
  unread.convIds = {subjects.biggest, subjects.second};
  add("unread 20 of 2 conversations", Length::SHORT,
      [unread](Messages& out) { return db::db_get_message_list(unread, out); },
      {"WHERE storageFolder = 1 AND read = 0 AND convId IN (?, ?) "
       "ORDER BY displayTime DESC, msgId LIMIT 20",
       {subjects.biggest, subjects.second}});
}

void add_single_messages(Benchmarks& benchmarks, const Subjects& subjects) {
  benchmarks.add<Message>(
      "message by id", Length::SHORT,
      [id = subjects.message](Message& out) { require(db::db_get_message(id, out)); },
      [id = subjects.message](Way& way, Message& out) {
        way.message({"WHERE msgId = ? ORDER BY displayTime DESC", {id}}, out);
      });
  benchmarks.add<Message>(
      "message by item", Length::SHORT,
      [item = subjects.item](Message& out) {
        require(db::db_get_message(item, "mms", MAIN_FOLDER_1, out));
      },
      [item = subjects.item](Way& way, Message& out) {
        way.message({"WHERE itemId = ? AND msgType = ? AND storageFolder = ? "
                     "ORDER BY displayTime DESC, msgId",
                     {item, "mms", MAIN_FOLDER_1}},
                    out);
      });
}

void add_threads(Benchmarks& benchmarks, const Subjects& subjects) {
  benchmarks.add<std::vector<Thread>>(
      "conversation list", Length::SHORT,
      [](std::vector<Thread>& out) { require(db::db_get_threads(out)); },
      [](Way& way, std::vector<Thread>& out) { way.threads(out); });
  benchmarks.add<Thread>(
      "entry of the biggest conversation", Length::SHORT,
      [id = subjects.biggest](Thread& out) { require(db::db_get_thread(id, out)); },
      [id = subjects.biggest](Way& way, Thread& out) { way.thread(id, out); });
}

void add_conversations(Benchmarks& benchmarks, const Subjects& subjects) {
  const auto add = [&benchmarks](const char* name, Length length, int convId) {
    benchmarks.add<std::vector<Conversation>>(
        name, length,
        [convId](std::vector<Conversation>& out) {
          require(db::db_get_conversations(convId, out));
        },
        [convId](Way& way, std::vector<Conversation>& out) { way.conversations(convId, out); });
  };
  add("conversation of 20", Length::SHORT, subjects.ofTwenty);
  add("biggest conversation", Length::LONG, subjects.biggest);
}

void add_dependents(Benchmarks& benchmarks, const Subjects& subjects) {
  benchmarks.add<std::vector<Address>>(
      "addresses of a conversation", Length::SHORT,
      [id = subjects.biggest](std::vector<Address>& out) {
        require(db::db_get_addresses(id, out));
      },
      [id = subjects.biggest](Way& way, std::vector<Address>& out) { way.addresses(id, out); });
  benchmarks.add<std::vector<Content>>(
      "contents of a message", Length::SHORT,
      [id = subjects.message](std::vector<Content>& out) { require(db::db_get_contents(id, out)); },
      [id = subjects.message](Way& way, std::vector<Content>& out) { way.contents(id, out); });
}

void add_metadata(Benchmarks& benchmarks, const Subjects& subjects) {
  using Metas = std::vector<NmsMsgMeta>;
  const auto add = [&benchmarks](const char* name, const std::function<int(Metas&)>& library,
                                 const Condition& condition) {
    benchmarks.add<Metas>(
        name, Length::SHORT, [library](Metas& out) { require(library(out)); },
        [condition](Way& way, Metas& out) { way.metas(condition, out); });
  };
  const int message = subjects.withMetadata;
  const std::string number = std::to_string(1000000 + message);

  add("metadata of a message",
      [message](Metas& out) { return db::db_get_nms_msg_meta(message, "", out.emplace_back()); },
      {"WHERE msgId = ? LIMIT 1", {message}});
  add("metadata of an object",
      [object = "object-" + number](Metas& out) {
        return db::db_get_nms_msg_meta(0, object, out.emplace_back());
      },
      {"WHERE objectId = ? LIMIT 1", {"object-" + number}});
  add("uncorrelated metadata of an id",
      [primary = "primary-" + number](Metas& out) {
        return db::db_get_uncorrelated_nms_msg_metas(primary, NmsMsgMeta::BT_CORRELATION,
                                                     NmsMsgMeta::PRIMARY_ID, true, out);
      },
      {"WHERE BTCorrelated = 0 AND primaryId = ? ORDER BY msgTime, id", {"primary-" + number}});
  add("uncorrelated metadata",
      [](Metas& out) {
        return db::db_get_uncorrelated_nms_msg_metas("", NmsMsgMeta::MSSI_CORRELATION,
                                                     NmsMsgMeta::PRIMARY_ID, true, out);
      },
      {"WHERE MSSICorrelated = 0 ORDER BY msgTime, id", {}});
  add("metadata to be synced",
      [](Metas& out) { return db::db_get_sync_required_nms_msg_metas(false, out); },
      {"WHERE deleted = 0 AND MSSICorrelated = 1 AND MSSISync = 1 ORDER BY id LIMIT 5", {}});
  add("metadata to be downloaded",
      [](Metas& out) { return db::db_get_download_required_nms_msg_metas(out); },
      {"WHERE downloadRequired = 1 ORDER BY msgTime DESC, id LIMIT 1", {}});
  benchmarks.add<bool>(
      "whether something is to be downloaded", Length::SHORT,
      [](bool& out) { require(db::db_has_download_required_message(&out)); },
      [](Way& way, bool& out) { out = way.hasDownload(); });
}

std::vector<NamedWay> make_ways(const std::string& path) {
  std::vector<NamedWay> ways;
  ways.push_back({"raw", std::make_unique<RawLoop>(path, RawLoop::Statements::KEPT)});
  ways.push_back(
      {"raw, compiling", std::make_unique<RawLoop>(path, RawLoop::Statements::COMPILED_EACH_CALL)});
#ifdef BENCH_SQLITECPP
  ways.push_back({"SQLiteCpp", make_sqlitecpp(path, false)});
  ways.push_back({"SQLiteCpp, reusing", make_sqlitecpp(path, true)});
#else
  std::cerr << "left out: SQLiteCpp (libsqlitecpp-dev)\n";
#endif
  return ways;
}

void measure() {
  const helpers::StoreSession session;
  const std::string path = db::get_db_filepath();
  RawLoop store(path, RawLoop::Statements::COMPILED_EACH_CALL);
  const long long messages = store.number("SELECT count(*) FROM msg_message_table");
  benchmark::AddCustomContext("messages", std::to_string(messages));
  benchmark::AddCustomContext("indexes", store.isIndexed() ? "yes" : "no");

  const Subjects subjects(store);
  Benchmarks benchmarks(make_ways(path), !store.isIndexed() && messages > MOST_MESSAGES_ROW_BY_ROW);
  add_message_lists(benchmarks, subjects);
  add_single_messages(benchmarks, subjects);
  add_threads(benchmarks, subjects);
  add_conversations(benchmarks, subjects);
  add_dependents(benchmarks, subjects);
  add_metadata(benchmarks, subjects);
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

}  // namespace msg_tarvel::bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) {
    std::cerr << "usage: bench-queries FOLDER [option of Google Benchmark]...\n";
    return EXIT_FAILURE;
  }
  try {
    msg_tarvel::bench::use_store_in(argv[1]);
    msg_tarvel::bench::measure();
  } catch (const std::exception& error) {
    std::cerr << "bench-queries: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
