#include "helpers/statements.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/db/db_error.h>

#include "helpers/store_error.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

constexpr const char* INSERT = "INSERT INTO temp_log (data1, data2, data3) VALUES (?, ?, ?);";

class Statements : public StoreTest {
 protected:
  template <typename Action>
  void expectRefused(int code, const Action& action) {
    try {
      action();
      ADD_FAILURE() << "not refused";
    } catch (const StoreError& error) {
      EXPECT_STREQ(error.what(), "cannot try");
      EXPECT_EQ(error.code(), code);
    }
  }
};

TEST_F(Statements, BindNumbersTextsAndNothing) {
  const auto insert = compile(INSERT, CANNOT_WRITE);
  const std::string text = "it's";
  bind_all(*insert, 7, 5'000'000'000LL, text);
  run(*insert, CANNOT_WRITE);
  bind_all(*insert, std::optional<long long>(8), std::optional<long long>(), text);
  run(*insert, CANNOT_WRITE);
  const std::vector<std::string> rows = {"'7','5000000000','it''s'", "'8',NULL,'it''s'"};
  EXPECT_EQ(raw().column("SELECT quote(data1) || ',' || quote(data2) || ',' || quote(data3) "
                         "FROM temp_log;"),
            rows);
}

TEST_F(Statements, GiveTheirFirstNumber) {
  EXPECT_EQ(number("SELECT ? UNION ALL SELECT 9;", CANNOT_READ, 4), 4);
  EXPECT_EQ(number("SELECT 4 WHERE 0;", CANNOT_READ), 0);
}

TEST_F(Statements, StepUntilTheLastRow) {
  const auto rows = compile("SELECT 1 UNION ALL SELECT 2;", CANNOT_READ);
  EXPECT_TRUE(next_row(*rows, CANNOT_READ));
  EXPECT_TRUE(next_row(*rows, CANNOT_READ));
  EXPECT_FALSE(next_row(*rows, CANNOT_READ));
}

TEST_F(Statements, RefusedSayWhatForAndWithWhichCode) {
  expectRefused(db::DB_ERR_EXEC, [] { execute("nonsense;", "cannot try"); });
  expectRefused(db::DB_ERR_PREPARE, [] { compile("nonsense;", "cannot try"); });
  const std::string failing = "SELECT abs(-9223372036854775807 - 1);";
  expectRefused(db::DB_ERR_STEP, [&] { number(failing, "cannot try"); });
  const auto insert = compile("INSERT INTO msg_sharedial_meta_table (type) VALUES (1);", "");
  expectRefused(db::DB_ERR_STEP, [&] { run(*insert, "cannot try"); });
}

}  // namespace

}  // namespace msg_tarvel::helpers
