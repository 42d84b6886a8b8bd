// The search for the conversation whose participants are exactly the given addresses.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "query_support.h"
#include "support/setting_names.h"

namespace msg_tarvel::db {

namespace {

using Texts = std::vector<std::string>;
using Addresses = std::vector<Address>;

constexpr int PRESET = 4711;
constexpr const char* SEARCH = "db_check_thread_address_exist";

const std::string BEFORE = "SELECT convId FROM (SELECT convId FROM msg_address_table WHERE (";
const std::string AFTER =
    ") AND addressType <> ? AND convId IN (SELECT convId FROM msg_address_table GROUP BY convId "
    "HAVING COUNT(convId) = ?) ) GROUP BY convId HAVING COUNT(convId) = ?";

Address address(const std::string& text, int addressType = 0, int recipientType = 0) {
  Address result;
  result.address = text;
  result.addressType = addressType;
  result.recipientType = recipientType;
  return result;
}

ExpectedLine not_found() {
  return info_line("db_common_funcs.cpp", SEARCH, "Thread does not exist with given address!");
}

/** The conditions of a search in an empty store, as SQLite gets them. */
std::string conditions(const Addresses& addresses) {
  int threadId = PRESET;
  const Texts texts = compiled_by(
      [&] { EXPECT_EQ(db_check_thread_address_exist(addresses, &threadId), DB_NO_DATA); });
  EXPECT_EQ(threadId, 0);
  EXPECT_EQ(texts.size(), 1u);
  const std::string& text = texts.at(0);
  EXPECT_EQ(text.substr(0, BEFORE.size()), BEFORE);
  EXPECT_GE(text.size(), BEFORE.size() + AFTER.size()) << text;
  EXPECT_EQ(text.substr(text.size() - AFTER.size()), AFTER);
  return text.substr(BEFORE.size(), text.size() - BEFORE.size() - AFTER.size());
}

class ThreadSearch : public QueryTest {
 protected:
  ThreadSearch() { setCountry("US"); }

  static void setCountry(const std::optional<std::string>& country) {
    if (country) {
      FakePlatform::get().set(COUNTRY, *country);
    } else {
      FakePlatform::get().makeUnreadable(COUNTRY);
    }
  }

  void insertAddress(int convId, const std::string& text, int addressType = 0) {
    insert("msg_address_table", {{"convId", std::to_string(convId)},
                                 {"addressType", std::to_string(addressType)},
                                 {"address", text}});
  }

  /** The conversation that is found; 0 when none is. */
  static int found(const Addresses& addresses) {
    int threadId = PRESET;
    const int ret = db_check_thread_address_exist(addresses, &threadId);
    EXPECT_EQ(ret, threadId == 0 ? DB_NO_DATA : DB_SUCCESS);
    EXPECT_TRUE(logged(threadId == 0 ? Lines{not_found()} : Lines{}));
    return threadId;
  }
};

// ---- Conditions --------------------------------------------------------------------------------

TEST_F(ThreadSearch, OneNumberIsSearchedByItsEnd) {
  int threadId = PRESET;
  EXPECT_EQ(compiled_by([&] {
              EXPECT_EQ(db_check_thread_address_exist({address("01012345678")}, &threadId),
                        DB_NO_DATA);
            }),
            Texts{"SELECT convId FROM (SELECT convId FROM msg_address_table WHERE (address LIKE "
                  "'%%1012345678') AND addressType <> ? AND convId IN (SELECT convId FROM "
                  "msg_address_table GROUP BY convId HAVING COUNT(convId) = ?) ) GROUP BY convId "
                  "HAVING COUNT(convId) = ?"});
  EXPECT_EQ(SqlRecorder::run(),
            Texts{"SELECT convId FROM (SELECT convId FROM msg_address_table WHERE (address LIKE "
                  "'%%1012345678') AND addressType <> 3 AND convId IN (SELECT convId FROM "
                  "msg_address_table GROUP BY convId HAVING COUNT(convId) = 1) ) GROUP BY convId "
                  "HAVING COUNT(convId) = 1"});
  EXPECT_EQ(threadId, 0);
  EXPECT_TRUE(logged({not_found()}));
}

TEST_F(ThreadSearch, AnAddressIsMatchedByItsEndOrExactly) {
  const std::vector<std::pair<Address, std::string>> cases = {
      {address("01012345678"), "address LIKE '%%1012345678'"},
      {address("123456789"), "address LIKE '%%23456789'"},
      {address("0044123456789"), "address LIKE '%%123456789'"},
      // Not longer than the minimum of eight.
      {address("12345678"), "address LIKE '12345678'"},
      {address("+1234567"), "address LIKE '+1234567'"},
      {address("112"), "address LIKE '112'"},
      // Not to be matched by the end.
      {address("01012345678", 2), "address LIKE '01012345678'"},
      {address("+14155550100", 2), "address LIKE '+14155550100'"},
      {address("01012345678", 1), "address LIKE '%%1012345678'"},
      {address("01012345678", 3), "address LIKE '%%1012345678'"},
      // Not numbers.
      {address("someone@example.com"), "address LIKE 'someone@example.com'"},
      {address("010-1234-5678"), "address LIKE '010-1234-5678'"},
      {address("100% of them"), "address LIKE '100% of them'"},
      {address(""), "address is NULL"},
      {address("", 2), "address is NULL"}};
  for (const auto& [key, condition] : cases) EXPECT_EQ(conditions({key}), condition);
}

TEST_F(ThreadSearch, ForeignNumbersAreMatchedExactlyWhereTheCallingCodeIsKnown) {
  struct Case {
    std::optional<std::string> country;
    const char* number;
    const char* condition;
  };
  const std::vector<Case> cases = {{"US", "+14155550100", "address LIKE '%%4155550100'"},
                                   {"US", "+821012345678", "address LIKE '+821012345678'"},
                                   {"US", "+441234567890", "address LIKE '+441234567890'"},
                                   {"USA", "+821012345678", "address LIKE '+821012345678'"},
                                   {"USA", "+14155550100", "address LIKE '%%4155550100'"},
                                   {"US-x", "+441234567890", "address LIKE '+441234567890'"},
                                   {"KR", "+821012345678", "address LIKE '%%1012345678'"},
                                   {"KR", "+14155550100", "address LIKE '+14155550100'"},
                                   {"KR", "+811234567890", "address LIKE '+811234567890'"},
                                   {"KR", "+182345678901", "address LIKE '+182345678901'"},
                                   {"KRX", "+14155550100", "address LIKE '+14155550100'"},
                                   {"DE", "+14155550100", "address LIKE '%%4155550100'"},
                                   {"DE", "+821012345678", "address LIKE '%%1012345678'"},
                                   {"us", "+821012345678", "address LIKE '%%1012345678'"},
                                   {"U", "+821012345678", "address LIKE '%%1012345678'"},
                                   {"AUS", "+821012345678", "address LIKE '%%1012345678'"},
                                   {"", "+821012345678", "address LIKE '%%1012345678'"},
                                   {std::nullopt, "+821012345678", "address LIKE '%%1012345678'"},
                                   // Without a "+", the country makes no difference.
                                   {"US", "00821012345678", "address LIKE '%%1012345678'"},
                                   {"KR", "0014155550100", "address LIKE '%%4155550100'"}};
  for (const Case& each : cases) {
    setCountry(each.country);
    EXPECT_EQ(conditions({address(each.number)}), each.condition)
        << each.country.value_or("unreadable");
  }
}

TEST_F(ThreadSearch, TheCountryIsReadAnewForEachCandidateWithAPlus) {
  const auto reads = [](const Addresses& addresses) {
    const int before = FakePlatform::get().reads(COUNTRY);
    conditions(addresses);
    return FakePlatform::get().reads(COUNTRY) - before;
  };
  EXPECT_EQ(reads({address("+14155550100"), address("+821012345678"), address("+4912345678")}), 3);
  EXPECT_EQ(reads({address("+14155550100", 2), address("+1415"), address("01012345678"),
                   address("+1415x550100"), address("")}),
            0);
  setCountry("KR");
  EXPECT_EQ(conditions({address("+821012345678")}), "address LIKE '%%1012345678'");
  setCountry("US");
  EXPECT_EQ(conditions({address("+821012345678")}), "address LIKE '+821012345678'");
}

TEST_F(ThreadSearch, ConditionsEndBeforeAnElementOfRecipientTypeThree) {
  const auto group = [](int first, int second, int third) {
    return Addresses{address("a", 0, first), address("b", 0, second), address("c", 0, third)};
  };
  const std::string one = "address LIKE 'a'";
  const std::string two = "address LIKE 'a' OR address LIKE 'b'";
  const std::string three = "address LIKE 'a' OR address LIKE 'b' OR address LIKE 'c'";
  EXPECT_EQ(conditions(group(0, 0, 0)), three);
  EXPECT_EQ(conditions(group(1, 2, 4)), three);
  EXPECT_EQ(conditions(group(0, 3, 0)), one);
  EXPECT_EQ(conditions(group(0, 3, 3)), one);
  EXPECT_EQ(conditions(group(0, 0, 3)), two);
  // The first element's own type is never looked at.
  EXPECT_EQ(conditions(group(3, 0, 0)), three);
  EXPECT_EQ(conditions(group(3, 3, 0)), one);
  EXPECT_EQ(conditions({address("a", 0, 3)}), one);
}

TEST_F(ThreadSearch, EveryElementCountsEvenWhenTheConditionsEndEarly) {
  conditions({address("a"), address("b", 0, 3), address("c")});
  EXPECT_EQ(SqlRecorder::run(),
            Texts{"SELECT convId FROM (SELECT convId FROM msg_address_table WHERE (address LIKE "
                  "'a') AND addressType <> 3 AND convId IN (SELECT convId FROM msg_address_table "
                  "GROUP BY convId HAVING COUNT(convId) = 3) ) GROUP BY convId HAVING "
                  "COUNT(convId) = 3"});
}

TEST_F(ThreadSearch, TheStatementIsCutAt5119Characters) {
  constexpr std::size_t LIMIT = 5119;
  const std::string condition = "address LIKE ''";
  for (const std::size_t length : {LIMIT - 1, LIMIT, LIMIT + 1, LIMIT + 300}) {
    SCOPED_TRACE(length);
    const std::string text = letters(length - BEFORE.size() - condition.size() - AFTER.size());
    const std::string sql = (BEFORE + "address LIKE '" + text + "'" + AFTER).substr(0, LIMIT);
    int threadId = PRESET;
    int ret = 0;
    EXPECT_EQ(compiled_by([&] { ret = db_check_thread_address_exist({address(text)}, &threadId); }),
              Texts{sql});
    EXPECT_EQ(ret, length > LIMIT ? DB_ERR_PREPARE : DB_NO_DATA);
    EXPECT_EQ(threadId, 0);
    EXPECT_TRUE(
        logged(length > LIMIT ? not_compiled(SEARCH, reasonAgainst(sql)) : Lines{not_found()}));
  }
}

TEST_F(ThreadSearch, PiecesAfterTheCutAreLostWhole) {
  Addresses many(300, address("someone@example.com"));
  std::string all;
  for (std::size_t i = 0; i < many.size(); ++i) {
    all += (i == 0 ? "" : " OR ") + std::string("address LIKE 'someone@example.com'");
  }
  int threadId = PRESET;
  EXPECT_EQ(compiled_by(
                [&] { EXPECT_EQ(db_check_thread_address_exist(many, &threadId), DB_ERR_PREPARE); }),
            Texts{(BEFORE + all).substr(0, 5119)});
  EXPECT_EQ(threadId, 0);
}

TEST_F(ThreadSearch, AddressesAreNotEscaped) {
  int threadId = PRESET;
  EXPECT_EQ(db_check_thread_address_exist({address("o'neil")}, &threadId), DB_ERR_PREPARE);
  EXPECT_EQ(threadId, 0);
  EXPECT_TRUE(logged(not_compiled(SEARCH, R"(near "neil": syntax error)")));

  insertAddress(5, "'any'");
  EXPECT_EQ(found({address("' OR 'x' = 'x")}), 5);
  EXPECT_EQ(found({address("a%")}), 5);
  EXPECT_EQ(found({address("_n_")}), 5);
}

// ---- Without a readable minimum ----------------------------------------------------------------

class ThreadSearchWithoutMinimum : public StoreTest {
 protected:
  ThreadSearchWithoutMinimum() {
    FakePlatform::get().makeUnreadable(MIN_MATCH);
    FakePlatform::get().set(COUNTRY, "DE");
  }
};

ExpectedLine minimum_unreadable() {
  return error_line("common_util_funcs.cpp", "get_min_match_digit",
                    "[ERROR] vconf_get_int failed(-7)");
}

TEST_F(ThreadSearchWithoutMinimum, ANumberMatchesEveryAddress) {
  EXPECT_EQ(conditions({address("12345")}), "address LIKE '%%'");
  EXPECT_EQ(conditions({address("01012345678")}), "address LIKE '%%1012345678'");
  EXPECT_EQ(conditions({address("0")}), "address LIKE '%%'");
  EXPECT_EQ(conditions({address("x")}), "address LIKE 'x'");
  EXPECT_EQ(conditions({address("")}), "address is NULL");

  insert("msg_address_table", {{"convId", "4"}, {"addressType", "0"}, {"address", "NULL"}});
  insert("msg_address_table", {{"convId", "5"}, {"addressType", "0"}, {"address", "'whoever'"}});
  int threadId = PRESET;
  EXPECT_EQ(db_check_thread_address_exist({address("12345")}, &threadId), DB_SUCCESS);
  EXPECT_EQ(threadId, 5);
}

// As a length a negative minimum is larger than any text, so no number is matched by its end.
TEST_F(ThreadSearchWithoutMinimum, ANegativeOneMatchesExactly) {
  FakePlatform::get().set(MIN_MATCH, -1);
  EXPECT_EQ(conditions({address("01012345678")}), "address LIKE '01012345678'");
  EXPECT_EQ(conditions({address("+14155550100")}), "address LIKE '+14155550100'");
}

TEST_F(ThreadSearchWithoutMinimum, ItIsAskedForWithEveryElement) {
  const Addresses three = {address("a"), address("b", 2), address("", 0)};
  conditions(three);
  EXPECT_EQ(FakePlatform::get().reads(MIN_MATCH), 3);
  EXPECT_TRUE(
      logged({minimum_unreadable(), minimum_unreadable(), minimum_unreadable(), not_found()}));

  // The setting can be read from the second element on.
  int threadId = PRESET;
  FakePlatform::get().onLog([](const LogLine& line) {
    if (line == minimum_unreadable()) FakePlatform::get().set(MIN_MATCH, 4);
  });
  EXPECT_EQ(run_by([&] {
              db_check_thread_address_exist({address("01234"), address("0123"), address("01234")},
                                            &threadId);
            }).size(),
            1u);
  FakePlatform::get().onLog(nullptr);
  EXPECT_EQ(SqlRecorder::compiled(),
            Texts{BEFORE + "address LIKE '%%1234' OR address LIKE '0123' OR address LIKE '%%1234'" +
                  AFTER});
  EXPECT_TRUE(
      logged({minimum_unreadable(),
              warn_line("common_util_funcs.cpp", "get_min_match_digit", "numberMinMatchDigit: [4]"),
              not_found()}));
}

TEST_F(ThreadSearchWithoutMinimum, ANumberThatEndsInItsCallingCodeThrowsAndLeavesNothingBehind) {
  insert("msg_address_table", {{"convId", "5"}, {"addressType", "0"}, {"address", "'+2'"}});
  for (const Addresses& addresses :
       {Addresses{address("+2")}, Addresses{address("a"), address("+2"), address("b")}}) {
    int threadId = PRESET;
    EXPECT_EQ(compiled_by([&] {
                EXPECT_THROW(db_check_thread_address_exist(addresses, &threadId),
                             std::out_of_range);
              }),
              Texts{});
    EXPECT_EQ(threadId, 0);
    EXPECT_EQ(sqlite3_next_stmt(DBMgrInternal().handle(), nullptr), nullptr);
  }
  // The connection goes on working.
  int threadId = PRESET;
  EXPECT_EQ(db_check_thread_address_exist({address("+2", 2)}, &threadId), DB_SUCCESS);
  EXPECT_EQ(threadId, 5);
}

TEST_F(ThreadSearchWithoutMinimum, AForeignNumberIsNotConverted) {
  FakePlatform::get().set(COUNTRY, "US");
  EXPECT_EQ(conditions({address("+2")}), "address LIKE '+2'");
  EXPECT_EQ(conditions({address("+")}), "address LIKE '+'");
  EXPECT_EQ(conditions({address("+1")}), "address LIKE '%%'");
  FakePlatform::get().set(COUNTRY, "KR");
  EXPECT_EQ(conditions({address("+8")}), "address LIKE '+8'");
  EXPECT_EQ(conditions({address("+82")}), "address LIKE '%%'");
}

// ---- Matching ----------------------------------------------------------------------------------

TEST_F(ThreadSearch, ANumberIsFoundInEveryWayOfWritingIt) {
  setCountry("KR");
  insertAddress(5, "'+821012345678'");
  insertAddress(6, "'+821012345679'");
  for (const char* number : {"01012345678", "+821012345678", "00821012345678", "1012345678"}) {
    EXPECT_EQ(found({address(number)}), 5) << number;
  }
  EXPECT_EQ(found({address("01012345670")}), 0);
  EXPECT_EQ(found({address("+14155550100")}), 0);
}

TEST_F(ThreadSearch, AShortNumberIsFoundOnlyAsItIs) {
  insertAddress(5, "'99112'");
  EXPECT_EQ(found({address("112")}), 0);
  insertAddress(6, "'112'");
  EXPECT_EQ(found({address("112")}), 6);
}

TEST_F(ThreadSearch, AnExactAddressIsNotFoundByItsEnd) {
  insertAddress(5, "'+821012345678'");
  EXPECT_EQ(found({address("01012345678", 2)}), 0);
  EXPECT_EQ(found({address("01012345678", 0)}), 5);
}

TEST_F(ThreadSearch, AnEmptyAddressFindsNullButNotEmptyText) {
  insertAddress(5, "''");
  EXPECT_EQ(found({address("")}), 0);
  insertAddress(6, "NULL");
  EXPECT_EQ(found({address("")}), 6);
}

TEST_F(ThreadSearch, LettersMatchInEitherCase) {
  insertAddress(5, "'Someone@Example.com'");
  EXPECT_EQ(found({address("someone@example.COM")}), 5);
}

TEST_F(ThreadSearch, AGroupIsFoundByExactlyItsParticipants) {
  for (const char* participant : {"'a'", "'b'"}) insertAddress(5, participant);
  for (const char* participant : {"'a'", "'b'", "'c'"}) insertAddress(6, participant);
  insertAddress(7, "'a'");
  EXPECT_EQ(found({address("a")}), 7);
  EXPECT_EQ(found({address("a"), address("b")}), 5);
  EXPECT_EQ(found({address("b"), address("a")}), 5);
  EXPECT_EQ(found({address("c"), address("a"), address("b")}), 6);
  EXPECT_EQ(found({address("a"), address("c")}), 0);
  EXPECT_EQ(found({address("b")}), 0);
  EXPECT_EQ(found({address("a"), address("b"), address("c"), address("d")}), 0);
}

TEST_F(ThreadSearch, RowsOfTypeThreeCountAsParticipantsButNeverMatch) {
  insertAddress(5, "'a'", 3);
  EXPECT_EQ(found({address("a")}), 0);
  insertAddress(6, "'a'");
  insertAddress(6, "'me'", 3);
  EXPECT_EQ(found({address("a")}), 0);
  EXPECT_EQ(found({address("a"), address("me")}), 0);
  insertAddress(7, "'a'", 2);
  EXPECT_EQ(found({address("a")}), 7);
}

TEST_F(ThreadSearch, ARowWithoutATypeNeverMatches) {
  insert("msg_address_table", {{"convId", "5"}, {"address", "'a'"}});
  EXPECT_EQ(found({address("a")}), 0);
}

TEST_F(ThreadSearch, WhatFollowsAnElementOfRecipientTypeThreeIsCountedButNotSearched) {
  for (const char* participant : {"'ann'", "'andy'", "'anthony'"}) insertAddress(5, participant);
  EXPECT_EQ(found({address("an%"), address("x", 0, 3), address("y")}), 5);
  EXPECT_EQ(found({address("ann"), address("andy", 0, 3), address("anthony")}), 0);
}

TEST_F(ThreadSearch, AConversationWithoutAPositiveIdIsFoundButNotTold) {
  for (const int convId : {0, -4}) {
    insertAddress(convId, "'nobody'");
    int threadId = PRESET;
    EXPECT_EQ(db_check_thread_address_exist({address("nobody")}, &threadId), DB_SUCCESS);
    EXPECT_EQ(threadId, 0);
    EXPECT_TRUE(logged({}));
    raw().exec("DELETE FROM msg_address_table;");
  }
}

// ---- Arguments and failures --------------------------------------------------------------------

using ThreadSearchArguments = DataDirTest;

TEST_F(ThreadSearchArguments, AreCheckedBeforeTheDatabaseIsTouched) {
  // SQLite would make a file here if it were asked to open one.
  std::filesystem::create_directory(dbDir());
  int threadId = PRESET;
  EXPECT_EQ(db_check_thread_address_exist({}, &threadId), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({query_error(SEARCH, "Invalid param: addresses.size is 0")}));
  EXPECT_EQ(db_check_thread_address_exist({}, nullptr), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({query_error(SEARCH, "Invalid param: addresses.size is 0")}));
  EXPECT_EQ(db_check_thread_address_exist({address("a")}, nullptr), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({query_error(SEARCH, "Invalid param: threadId is null")}));
  EXPECT_EQ(threadId, PRESET);
  EXPECT_EQ(FakePlatform::get().reads(MIN_MATCH), 0);
  EXPECT_FALSE(std::filesystem::exists(dbFile()));
}

TEST_F(ThreadSearch, WithoutItsTableItCannotBeCompiled) {
  drop("msg_address_table");
  int threadId = PRESET;
  EXPECT_EQ(db_check_thread_address_exist({address("a")}, &threadId), DB_ERR_PREPARE);
  EXPECT_EQ(threadId, 0);
  EXPECT_TRUE(logged(no_such_table(SEARCH, "msg_address_table")));
}

TEST_F(ThreadSearch, AStepThatFailsCountsAsNotFound) {
  insertAddress(5, "'a'");
  insertAddress(5, "'b'");
  failOnRow("msg_address_table", "addressType", 0);
  int threadId = PRESET;
  EXPECT_EQ(db_check_thread_address_exist({address("a"), address("b")}, &threadId), DB_NO_DATA);
  EXPECT_EQ(threadId, 0);
  EXPECT_TRUE(logged({error_line("SqlStatement.cpp", "step", "[ERROR] sqlite3_step() failed: (1)"),
                      not_found(), not_finalized()}));
}

}  // namespace

}  // namespace msg_tarvel::db
