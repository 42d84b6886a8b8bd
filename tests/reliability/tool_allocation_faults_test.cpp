// Every allocation fails under whole programs: SQLite's, and those of the programs and the library.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>

#include "reliability/memory_failures.h"
#include "reliability/tool_faults.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

// Of MEMORY_FAILURES.
constexpr std::size_t ONE_OF_THE_PROGRAM = 2;
constexpr std::size_t ALL_OF_THE_PROGRAM = 3;

FaultSource failing_memory() {
  FaultSource source = {FAILING_MEMORY_LIBRARY, "MSG_TARVEL_FAILING_MEMORY", {}};
  for (const MemoryFailure& failure : MEMORY_FAILURES) {
    const bool isOfSqlite = failure.whom == MemoryFailure::Of::SQLITE;
    source.failures.push_back({std::string(isOfSqlite ? "SQLite's" : "the program's") +
                                   " memory ends" + (failure.isForGood ? " for good" : ""),
                               {"out of memory", "unable to get the page. error code=7"},
                               true,
                               isOfSqlite ? 17 : 2});
  }
  return source;
}

enum class Encoding { UTF_8, UTF_16 };

std::string name_of(const ::testing::TestParamInfo<Encoding>& info) {
  return info.param == Encoding::UTF_8 ? "Utf8" : "Utf16";
}

/** A store that is yet to be made, with an encoding of its own. */
void choose_encoding(const std::string& path, Encoding encoding) {
  if (encoding == Encoding::UTF_8) return;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  RawConnection(path).exec("PRAGMA encoding = 'UTF-16le'; CREATE TABLE t (c); DROP TABLE t;");
}

class ToolAllocationFaultsOfTransactions : public FaultsOfTransactions,
                                           public ::testing::WithParamInterface<Encoding> {
 protected:
  ToolAllocationFaultsOfTransactions() : FaultsOfTransactions(failing_memory()) {}

  void make() const {
    choose_encoding(dbFile(), GetParam());
    create();
  }
};

TEST_P(ToolAllocationFaultsOfTransactions, OfAnImportLeaveAllOrNothing) {
  beginWith([this] { make(); });
  failCommand({"import", file("b.xml", messages())}, 3);
}

TEST_P(ToolAllocationFaultsOfTransactions, OfARepairLeaveAllOrNothing) {
  beginWith([this] {
    make();
    damage();
  });
  failCommand({"repair"}, 3);
  // What comes then has nothing to do with texts.
  if (GetParam() == Encoding::UTF_8) {
    failBehindCommit({"repair"}, ALL_OF_THE_PROGRAM, ONE_OF_THE_PROGRAM);
  }
}

INSTANTIATE_TEST_SUITE_P(In, ToolAllocationFaultsOfTransactions,
                         ::testing::Values(Encoding::UTF_8, Encoding::UTF_16), &name_of);

class ToolAllocationFaultsOfMaking : public FaultsOfMaking {
 protected:
  ToolAllocationFaultsOfMaking() : FaultsOfMaking(failing_memory()) {}
};

TEST_F(ToolAllocationFaultsOfMaking, OfANewStoreAreMendedByTheNext) { failCreate(2); }

TEST_F(ToolAllocationFaultsOfMaking, OfAHalfMadeStoreAreMendedByTheNext) {
  beginWith([this] { makeHalf(); });
  failCreate(2);
}

class OwnerAllocationFaults : public FaultsOfTheOwner,
                              public ::testing::WithParamInterface<Encoding> {
 protected:
  OwnerAllocationFaults() : FaultsOfTheOwner(failing_memory()) {}
};

TEST_P(OwnerAllocationFaults, OfAnOwnerAreTold) {
  beginWith([this] {
    choose_encoding(dbFile(), GetParam());
    ASSERT_EQ(own().status, 0);
  });
  failOwner("owner", 1, 3);
}

TEST_P(OwnerAllocationFaults, OfANewOwnerAreTold) {
  if (GetParam() == Encoding::UTF_16) {
    beginWith([this] { choose_encoding(dbFile(), GetParam()); });
  }
  failOwner("new owner", 0, 3);
}

INSTANTIATE_TEST_SUITE_P(In, OwnerAllocationFaults,
                         ::testing::Values(Encoding::UTF_8, Encoding::UTF_16), &name_of);

}  // namespace

}  // namespace msg_tarvel
