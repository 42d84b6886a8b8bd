#pragma once

// What the tests of the read queries share: the fixture, the comparison of items and the log lines
// of the queries.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "db/DBMgr_internal.h"
#include "db/kept_statements.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "query_outcome.h"
#include "support/db_log.h"
#include "support/item_fields.h"
#include "support/sql_recorder.h"
#include "support/store.h"

namespace msg_tarvel {

/** The texts that `action` compiles on the defined way. */
template <typename Action>
std::vector<std::string> compiled_by(Action action) {
  const DefinedWay way;
  SqlRecorder::clear();
  action();
  return SqlRecorder::compiled();
}

/** The statements that `action` runs on the defined way, with their bound values put in. */
template <typename Action>
std::vector<std::string> run_by(Action action) {
  const DefinedWay way;
  SqlRecorder::clear();
  action();
  return SqlRecorder::run();
}

inline ExpectedLine query_error(const std::string& function, const std::string& message) {
  return error_line("db_common_funcs.cpp", function, "[ERROR] " + message);
}

/** A text that `function` gave SQLite to compile in vain, and why. */
inline Lines not_compiled(const std::string& function, const std::string& reason) {
  return {
      manager_error("compileStatement", "sqlite3_prepare_v2() failed: (1) (" + reason + ")"),
      query_error(function, "compileStatement() failed!"),
  };
}
inline Lines no_such_table(const std::string& function, const std::string& table) {
  return not_compiled(function, "no such table: " + table);
}

/** A step that failed with SQLite's `code`, as `function` words it. */
inline Lines not_stepped(const std::string& function, const std::string& message, int code = 1) {
  return {
      error_line("SqlStatement.cpp", "step",
                 "[ERROR] sqlite3_step() failed: (" + std::to_string(code) + ")"),
      query_error(function, message),
  };
}

/** Follows when a statement whose step failed is destroyed. */
inline ExpectedLine not_finalized() {
  return warn_line("SqlStatement.cpp", "_finalize", "sqlite3_finalize() failed: (1)");
}

/** What the public function `caller` adds when its `worker` failed. */
inline ExpectedLine reported(const std::string& caller, const std::string& worker, int code) {
  return query_error(caller, worker + "() failed: (" + std::to_string(code) + ")");
}

/** `row` with some of its values replaced. */
inline Row with(Row row, const Row& changes) {
  for (const auto& [column, value] : changes) {
    const auto same = [&name = column](const auto& each) { return each.first == name; };
    const auto found = std::find_if(row.begin(), row.end(), same);
    if (found == row.end()) {
      row.emplace_back(column, value);
    } else {
      found->second = value;
    }
  }
  return row;
}

/** A store on a device with this sales code, whose settings are read and told in the log already.
 */
class QueryTest : public StoreTest {
 protected:
  explicit QueryTest(const std::string& salesCode = "NONE") {
    FakePlatform::get().set("db/csc/salescode", salesCode);
    msg_tarvel::common_util::is_linkdial_supported();
    msg_tarvel::common_util::get_min_match_digit();
    FakePlatform::get().clearLines();
  }

  void TearDown() override {
    db::forget_kept_statements(db::DBMgrInternal().handle());
    EXPECT_EQ(sqlite3_next_stmt(db::DBMgrInternal().handle(), nullptr), nullptr)
        << "a statement was left behind";
  }

  /** Drops a table on the library's own connection, which so knows of it before it compiles. */
  static void drop(const std::string& table) {
    ASSERT_EQ(msg_tarvel::db::DBMgr::getInstance()->execStatement("DROP TABLE " + table + ";"), 0);
  }

  /** What SQLite says of a text that it cannot compile. */
  std::string reasonAgainst(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(raw().handle(), sql.c_str(), -1, &statement, nullptr);
    sqlite3_finalize(statement);
    return sqlite3_errmsg(raw().handle());
  }

  /** A statement whose condition holds a text of the caller's, and who compiles and reports it. */
  struct FilledStatement {
    std::string select;
    std::string before;
    std::string after;
    std::string worker;
    std::string caller;
  };

  /**
   * Expects the condition to be cut at 1,023 characters. `query` runs with a filling of the given
   * length; all that may get lost without an error is the semicolon at the end.
   */
  void expectCutCondition(const FilledStatement& statement,
                          const std::function<std::string(std::size_t)>& filling,
                          const std::function<int(const std::string&)>& query) {
    using msg_tarvel::db::DB_ERR_PREPARE;
    using msg_tarvel::db::DB_NO_DATA;
    constexpr std::size_t LIMIT = 1023;
    for (const std::size_t length : {LIMIT - 1, LIMIT, LIMIT + 1, LIMIT + 2, LIMIT + 200}) {
      SCOPED_TRACE(length);
      const std::string text = filling(length - statement.before.size() - statement.after.size());
      const std::string condition = statement.before + text + statement.after;
      ASSERT_EQ(condition.size(), length);
      const std::string sql = statement.select + condition.substr(0, LIMIT);

      const bool compiles = length <= LIMIT + 1;
      int ret = 0;
      EXPECT_EQ(compiled_by([&] { ret = query(text); }), std::vector<std::string>{sql});
      EXPECT_EQ(ret, compiles ? DB_NO_DATA : DB_ERR_PREPARE);
      EXPECT_TRUE(logged(compiles ? Lines{}
                                  : not_compiled(statement.worker, reasonAgainst(sql)) +
                                        Lines{reported(statement.caller, statement.worker, ret)}));
    }
  }
};

/** A caller's text of `length` characters. */
inline std::string letters(std::size_t length) {
  std::string text(length, 'x');
  return text;
}

/** Ids whose list, joined by commas, has `length` characters; the last differs from the others. */
inline std::vector<int> ids_of_length(std::size_t length) {
  std::vector<int> ids;
  for (; length > 9; length -= 5) ids.push_back(1000);
  ids.push_back(std::stoi(std::string(length, '9')));
  return ids;
}
inline std::string id_list_of_length(std::size_t length) {
  return msg_tarvel::common_util::to_comma_separated_string(ids_of_length(length));
}

/** Expects an item to have every field as `expected` has it. */
template <typename Item>
void expect_same(const Item& actual, const Item& expected) {
  EXPECT_EQ(msg_tarvel::item_test::differences(actual, expected), "");
}

/** Expects a list to hold exactly one item. */
template <typename Item>
void expect_only(const std::vector<Item>& items, const Item& expected) {
  ASSERT_EQ(items.size(), 1u);
  expect_same(items.front(), expected);
}

/** One field of every item, in their order. */
template <typename Item, typename Value>
std::vector<Value> each(const std::vector<Item>& items, Value Item::*field) {
  std::vector<Value> values;
  values.reserve(items.size());
  for (const Item& item : items) values.push_back(item.*field);
  return values;
}

}  // namespace msg_tarvel
