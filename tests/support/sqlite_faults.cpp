#include "support/sqlite_faults.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "support/next_function.h"

namespace msg_tarvel {

namespace {

struct Rule {
  std::string call;
  int code;
  int times;
};

/** What happens at a call of a given number. */
struct Event {
  /** Of calls until then; 0 when it has come. */
  std::size_t left = 0;
  int code = SQLITE_OK;
  std::function<void()> action;
};

struct State {
  std::vector<Rule> rules;
  Event event;
  std::vector<std::string> calls;
  std::vector<unsigned int> sleeps;
  std::function<void()> onSleep;
  std::function<void()> onClose;
  int refusal = 0;
  // SQLite's functions call each other; only the outermost call is the library's.
  bool inside = false;
};

State& state() {
  static auto* const theState = new State;  // outlives the exit hook, which closes connections
  return *theState;
}

/** Marks the time that is spent within a call of the library's. */
class Entered {
 public:
  Entered() : _outermost(!std::exchange(state().inside, true)) {}
  Entered(const Entered&) = delete;
  Entered& operator=(const Entered&) = delete;
  ~Entered() {
    if (_outermost) state().inside = false;
  }

  /** Records `call`; the code that it has to fail with, or SQLITE_OK. */
  int record(const std::string& name, const char* text = nullptr) const {
    if (!_outermost) return SQLITE_OK;
    const std::string call = text && *text != '\0' ? name + " " + text : name;
    state().calls.push_back(call);
    Event& event = state().event;
    if (event.left > 0 && --event.left == 0) {
      if (event.action) event.action();
      if (event.code != SQLITE_OK) return event.code;
    }
    const auto rule =
        std::find_if(state().rules.begin(), state().rules.end(),
                     [&call](const Rule& each) { return each.times > 0 && each.call == call; });
    if (rule == state().rules.end()) return SQLITE_OK;
    --rule->times;
    return rule->code;
  }

 private:
  bool _outermost;
};

}  // namespace

void SqliteFaults::fail(const std::string& call, const std::string& text, int code, int times) {
  state().rules.push_back({text.empty() ? call : call + " " + text, code, times});
}

void SqliteFaults::failCall(std::size_t number, int code) { state().event = {number, code, {}}; }

void SqliteFaults::onCall(std::size_t number, std::function<void()> action) {
  state().event = {number, SQLITE_OK, std::move(action)};
}

bool SqliteFaults::hasCallCome() { return state().event.left == 0; }

void SqliteFaults::refuseReading(int reason) { state().refusal = reason; }

std::vector<std::string> SqliteFaults::calls() { return state().calls; }

void SqliteFaults::clearCalls() { state().calls.clear(); }

std::vector<unsigned int> SqliteFaults::sleeps() { return state().sleeps; }

void SqliteFaults::onSleep(std::function<void()> action) { state().onSleep = std::move(action); }

void SqliteFaults::onClose(std::function<void()> action) { state().onClose = std::move(action); }

extern "C" {

int sqlite3_exec(sqlite3* db, const char* sql, int (*callback)(void*, int, char**, char**),
                 void* argument, char** errmsg) {
  static const auto real = next_function("sqlite3_exec", &sqlite3_exec);
  const Entered entered;
  if (const int code = entered.record("exec", sql); code != SQLITE_OK) {
    if (errmsg) *errmsg = sqlite3_mprintf("%s", sqlite3_errstr(code));
    return code;
  }
  return real(db, sql, callback, argument, errmsg);
}

int sqlite3_prepare_v2(sqlite3* db, const char* zSql, int nByte, sqlite3_stmt** ppStmt,
                       const char** pzTail) {
  static const auto real = next_function("sqlite3_prepare_v2", &sqlite3_prepare_v2);
  const Entered entered;
  if (const int code = entered.record("prepare", zSql); code != SQLITE_OK) {
    *ppStmt = nullptr;
    return code;
  }
  return real(db, zSql, nByte, ppStmt, pzTail);
}

int sqlite3_step(sqlite3_stmt* statement) {
  static const auto real = next_function("sqlite3_step", &sqlite3_step);
  const Entered entered;
  const int code = entered.record("step", sqlite3_sql(statement));
  return code != SQLITE_OK ? code : real(statement);
}

// The parameters are SQLite's.
int sqlite3_table_column_metadata(sqlite3* db, const char* zDbName, const char* zTableName,
                                  const char* zColumnName, char const** pzDataType,
                                  char const** pzCollSeq, int* pNotNull, int* pPrimaryKey,
                                  int* pAutoinc) {
  static const auto real =
      next_function("sqlite3_table_column_metadata", &sqlite3_table_column_metadata);
  const Entered entered;
  const int code = entered.record("metadata", zTableName);
  return code != SQLITE_OK ? code
                           : real(db, zDbName, zTableName, zColumnName, pzDataType, pzCollSeq,
                                  pNotNull, pPrimaryKey, pAutoinc);
}

int sqlite3_clear_bindings(sqlite3_stmt* statement) {
  static const auto real = next_function("sqlite3_clear_bindings", &sqlite3_clear_bindings);
  const Entered entered;
  const int code = entered.record("clear_bindings");
  return code != SQLITE_OK ? code : real(statement);
}

int sqlite3_busy_handler(sqlite3* db, int (*handler)(void*, int), void* argument) {
  static const auto real = next_function("sqlite3_busy_handler", &sqlite3_busy_handler);
  const Entered entered;
  const int code = entered.record("busy_handler", handler ? "" : "none");
  return code != SQLITE_OK ? code : real(db, handler, argument);
}

int sqlite3_close(sqlite3* db) {
  static const auto real = next_function("sqlite3_close", &sqlite3_close);
  const Entered entered;
  int code = entered.record("close");
  if (code == SQLITE_OK) code = real(db);
  if (code == SQLITE_OK && state().onClose) state().onClose();
  return code;
}

// The C library names the parameters of these two with reserved identifiers.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int usleep(useconds_t microseconds) {
  // What happens meanwhile is not the library's doing.
  const bool inside = std::exchange(state().inside, true);
  state().sleeps.push_back(microseconds);
  if (state().onSleep) state().onSleep();
  state().inside = inside;
  return 0;
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int access(const char* path, int mode) noexcept {
  static const auto real = next_function("access", &access);
  if (mode == R_OK && state().refusal != 0) {
    errno = state().refusal;
    return -1;
  }
  return real(path, mode);
}

}  // extern "C"

}  // namespace msg_tarvel
