#include "support/sql_recorder.h"

#include <sqlite3.h>

#include <map>
#include <optional>
#include <utility>

#include "support/next_function.h"

namespace msg_tarvel {

namespace {

struct Rule {
  std::string part;
  int step;
  int code;
};

struct State {
  std::vector<std::string> compiled;
  std::vector<std::string> run;
  std::map<sqlite3_stmt*, int> steps;
  std::optional<Rule> rule;
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

  bool outermost() const { return _outermost; }

 private:
  bool _outermost;
};

std::string expanded(sqlite3_stmt* statement) {
  char* const text = sqlite3_expanded_sql(statement);
  std::string result = text ? text : "";
  sqlite3_free(text);
  return result;
}

/** Counts the step; the code that it has to fail with, or SQLITE_OK. */
int count_step(sqlite3_stmt* statement) {
  const int step = ++state().steps[statement];
  if (step == 1) state().run.push_back(expanded(statement));
  const std::optional<Rule>& rule = state().rule;
  const bool fails = rule && rule->step == step &&
                     std::string(sqlite3_sql(statement)).find(rule->part) != std::string::npos;
  return fails ? rule->code : SQLITE_OK;
}

}  // namespace

void SqlRecorder::clear() {
  state().compiled.clear();
  state().run.clear();
}

std::vector<std::string> SqlRecorder::compiled() { return state().compiled; }

std::vector<std::string> SqlRecorder::run() { return state().run; }

void SqlRecorder::failStep(const std::string& part, int step, int code) {
  state().rule = Rule{part, step, code};
}

extern "C" {

int sqlite3_prepare_v2(sqlite3* db, const char* zSql, int nByte, sqlite3_stmt** ppStmt,
                       const char** pzTail) {
  static const auto real = next_function("sqlite3_prepare_v2", &sqlite3_prepare_v2);
  const Entered entered;
  if (entered.outermost()) state().compiled.emplace_back(zSql);
  const int code = real(db, zSql, nByte, ppStmt, pzTail);
  // A statement's handle may be that of an earlier one.
  if (entered.outermost()) state().steps.erase(*ppStmt);
  return code;
}

int sqlite3_step(sqlite3_stmt* statement) {
  static const auto real = next_function("sqlite3_step", &sqlite3_step);
  const Entered entered;
  const int code = entered.outermost() ? count_step(statement) : SQLITE_OK;
  return code != SQLITE_OK ? code : real(statement);
}

}  // extern "C"

}  // namespace msg_tarvel
