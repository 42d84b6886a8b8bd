// Searches that are answered from memory against the library's search, on stores with rows of every
// kind: what is found, and what wins when several conversations fit.

#include "helpers/address_memory.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_indexes.h>
#include <msg-tarvel-common/utility/common_util_funcs.h>
#include <rapidcheck.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "helpers/conversation_search.h"
#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "support/fake_platform.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

using Addresses = std::vector<std::string>;

// Forms of few people, so that much of it matches: countries, trunk prefixes, short numbers,
// numbers that end within their calling code, letters of either case, patterns, and texts that are
// no UTF-8.
const Addresses PEOPLE = {"+14155550111",
                          "4155550111",
                          "14155550111",
                          "55550111",
                          "+821055550111",
                          "01055550111",
                          "+441055550111",
                          "0044105555",
                          "105555",
                          "+1",
                          "+2",
                          "002",
                          "0",
                          "00",
                          "1055550111x",
                          "BANK",
                          "Bank",
                          "bank",
                          "B_NK",
                          "50%",
                          "O'Hara",
                          "\xC3\x89toile",
                          "\xC3\xA9toile",
                          "\xEF\xBF\xBD",
                          "\xEF\xBF\xBE",
                          "\xC3",
                          "\xC1\xA1",
                          "\xED\xA0\x80",
                          "\xF8\x88\x80\x80\x80",
                          "\x80",
                          "\xC2\x80",
                          "A\xC2\x80",
                          ""};

Addresses some_addresses() {
  const auto count = *rc::gen::weightedElement<int>({{6, 1}, {4, 2}, {2, 3}, {1, 5}});
  Addresses addresses;
  for (int i = 0; i < count; ++i) addresses.push_back(*rc::gen::elementOf(PEOPLE));
  return addresses;
}

std::string literal_of(const std::string& address) {
  return address.empty() ? "NULL" : "CAST(" + quoted(address) + " AS TEXT)";
}

std::string insert_row(const std::string& convId, const std::string& type,
                       const std::string& address) {
  return "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES (" +
         convId + ", " + type + ", 1, " + address + ");";
}

/** Conversations in any order of their ids; now and then rows that the owner never writes. */
std::string some_rows(bool withStrangeOnes) {
  std::string sql;
  for (const int convId : *rc::gen::unique<std::vector<int>>(rc::gen::inRange(1, 25))) {
    for (const std::string& address : some_addresses()) {
      const auto type = *rc::gen::weightedElement<std::string>(
          {{8, std::to_string(address_type_of(address))}, {1, "3"}, {1, "NULL"}});
      sql += insert_row(std::to_string(convId), type, literal_of(address));
    }
  }
  if (*rc::gen::arbitrary<bool>()) sql += insert_row("26", "2", "''");
  if (!withStrangeOnes) return sql;
  const auto convId = *rc::gen::elementOf(Addresses{"27", "4294967297", "'x'", "-1", "0"});
  const auto address =
      *rc::gen::elementOf(Addresses{"x'62616E6B'", "'bank'", "'bank' || char(0) || 'x'", "'0'"});
  return sql + insert_row(convId, *rc::gen::elementOf(Addresses{"1", "'x'", "1.5"}), address);
}

bool has_same(const Addresses& addresses, const std::string& wanted) {
  return std::any_of(addresses.begin(), addresses.end(), [&wanted](const std::string& address) {
    return is_same_address(address, wanted);
  });
}

struct Device {
  const char* name;
  const char* country;
  int digits;
};

void PrintTo(const Device& device, std::ostream* out) { *out << device.name; }

class AddressMemoryTest : public StoreTest, public ::testing::WithParamInterface<Device> {
 protected:
  AddressMemoryTest() {
    FakePlatform::get().set("db/csc/country_iso", GetParam().country);
    FakePlatform::get().set("db/contacts-svc/phonenumber_min_match_digit", GetParam().digits);
  }

  void fill(const std::string& rows) {
    raw().exec("BEGIN; DELETE FROM msg_address_table;" + rows + "COMMIT;");
  }

  static bool holds(const std::string& what, const std::function<void()>& property) {
    return rc::check(what, property);
  }

  /** By definition, for addresses that the library's search does not take. */
  int definedSame(const Addresses& wanted) {
    for (const std::string& convId :
         raw().column("SELECT DISTINCT convId FROM msg_address_table ORDER BY convId;")) {
      std::vector<Address> rows;
      db::db_get_addresses(std::stoi(convId), rows);
      Addresses stored;
      for (const Address& row : rows) stored.push_back(row.address);
      const bool isSearched = std::all_of(rows.begin(), rows.end(),
                                          [](const Address& row) { return row.addressType != 3; });
      const auto isIn = [](const Addresses& all) {
        return [&all](const std::string& address) { return has_same(all, address); };
      };
      if (isSearched && stored.size() == wanted.size() &&
          std::all_of(stored.begin(), stored.end(), isIn(wanted)) &&
          std::all_of(wanted.begin(), wanted.end(), isIn(stored))) {
        return std::stoi(convId);
      }
    }
    return 0;
  }
};

TEST_P(AddressMemoryTest, FindsWhatTheLibraryFinds) {
  EXPECT_TRUE(holds("the same", [this] {
    fill(some_rows(*rc::gen::inRange(0, 10) == 0));
    const Transaction transaction;
    RepeatedSearch search;
    search.find({"nobody"});
    for (int i = 0; i < 8; ++i) {
      const Addresses wanted = some_addresses();
      const int defined = find_conversation(wanted);
      RC_ASSERT(search.find(wanted) == defined);
      const std::string person = *rc::gen::elementOf(PEOPLE);
      const int convId = *rc::gen::inRange(1, 40);
      execute(insert_row(std::to_string(convId), "1", literal_of(person)), CANNOT_WRITE);
      search.added(convId, 1, person);
    }
  }));
}

TEST_P(AddressMemoryTest, FindsTheSameByDefinition) {
  EXPECT_TRUE(holds("the same", [this] {
    fill(some_rows(false));
    const AddressMemory memory;
    for (int i = 0; i < 8; ++i) {
      const Addresses wanted = some_addresses();
      RC_ASSERT(memory.findSame(wanted) == definedSame(wanted));
    }
  }));
}

INSTANTIATE_TEST_SUITE_P(Of, AddressMemoryTest,
                         ::testing::Values(Device{"UnitedStates", "US", 8},
                                           Device{"Korea", "KR", 8}, Device{"Britain", "GB", 1}),
                         [](const auto& instance) { return std::string(instance.param.name); });

class AddressMemoryOnAnOddStore : public StoreTest {};

TEST_F(AddressMemoryOnAnOddStore, LeavesOddRowsToTheLibrary) {
  EXPECT_TRUE(AddressMemory().isAsSearched());
  for (const char* const row : {"4294967297, 1, 'a'", "1, 'x', 'a'", "1, 1, x'61'", "0, 1, 'a'"}) {
    raw().exec(std::string("DELETE FROM msg_address_table; INSERT INTO msg_address_table (convId, "
                           "addressType, address) VALUES (") +
               row + ");");
    EXPECT_FALSE(AddressMemory().isAsSearched()) << row;
  }
}

// With such an index SQLite gives the last conversation that fits first.
TEST_F(AddressMemoryOnAnOddStore, LeavesDescendingIndexesToTheLibrary) {
  db::db_create_indexes();
  EXPECT_TRUE(AddressMemory().isAsSearched());
  raw().exec("CREATE INDEX stranger ON msg_address_table (convId DESC);");
  EXPECT_FALSE(AddressMemory().isAsSearched());
}

TEST_F(AddressMemoryOnAnOddStore, AnswersWithTheFirstThatFits) {
  raw().exec(insert_row("7", "1", "'+14155550111'") + insert_row("5", "1", "'4155550111'") +
             insert_row("6", "1", "'14155550111'"));
  AddressMemory memory;
  EXPECT_EQ(memory.findAlike({"4155550111"}, Country::US), 5);
  memory.add(4, 1, "+14155550111");
  EXPECT_EQ(memory.findAlike({"4155550111"}, Country::US), 4);
  EXPECT_EQ(memory.findSame({"+14155550111"}), 4);
}

// Every beginning of a character that is not ASCII, whole, cut and too long, and what stands beside
// the letters: alike is what the library takes for alike.
TEST_F(AddressMemoryOnAnOddStore, ReadsCharactersAsTheLibraryDoes) {
  Addresses texts = {"@", "A",    "Z",    "[",    "`",        "a",       "z",
                     "{", "\x7F", "\x80", "\xBF", "\xC1\xBF", "\xC2\x80"};
  // What two characters become is not taken for what two others do.
  texts.insert(texts.end(), {"\xC2\x80\xC4\x81", "\xC4\x81\xC2\x80", "\xC2\x80\xE4\x81\x80",
                             "\xE4\x81\x80\xC2\x80"});
  for (int first = 0xC0; first <= 0xFF; ++first) {
    for (const char* const others :
         {"", "\x80", "\xBF", "\xA0\x80", "\xBF\xBE", "\xBF\xBF", "\x80\x80\x80", "\xBF\xBF\xBF",
          "\x88\x80\x80\x80", "\x80\x80\x80\x82\x80"}) {
      texts.push_back(static_cast<char>(first) + std::string(others));
    }
  }
  for (const bool isReversed : {false, true}) {
    std::string rows = "BEGIN; DELETE FROM msg_address_table;";
    for (std::size_t i = 0; i < texts.size(); ++i) {
      rows += insert_row(std::to_string(i + 1), "1", literal_of(texts[i]));
    }
    raw().exec(rows + "COMMIT;");
    AddressMemory memory;
    for (const std::string& text : texts) {
      EXPECT_EQ(memory.findAlike({text}, Country::OTHER), find_conversation({text}))
          << ::testing::PrintToString(text) << isReversed;
    }
    std::reverse(texts.begin(), texts.end());
  }
}

TEST_F(AddressMemoryOnAnOddStore, KnowsTheCountriesOfTheLibrary) {
  raw().exec(insert_row("1", "1", "'4155550111'") + insert_row("2", "1", "'1055550122'") +
             insert_row("3", "1", "'2055550133'"));
  AddressMemory memory;
  const Addresses american = {"+14155550111"};
  const Addresses korean = {"+821055550122"};
  const Addresses british = {"+442055550133"};
  EXPECT_EQ(memory.findAlike(american, Country::US), 1);
  EXPECT_EQ(memory.findAlike(korean, Country::US), 0);
  EXPECT_EQ(memory.findAlike(british, Country::US), 0);
  EXPECT_EQ(memory.findAlike(american, Country::KR), 0);
  EXPECT_EQ(memory.findAlike(korean, Country::KR), 2);
  EXPECT_EQ(memory.findAlike(british, Country::KR), 0);
  EXPECT_EQ(memory.findAlike(american, Country::OTHER), 1);
  EXPECT_EQ(memory.findAlike(korean, Country::OTHER), 2);
  EXPECT_EQ(memory.findAlike(british, Country::OTHER), 3);
}

}  // namespace

}  // namespace msg_tarvel::helpers
