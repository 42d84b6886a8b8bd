// Every operation of the disk fails under whole programs.

#include <gtest/gtest.h>

#include <sstream>

#include "reliability/failing_disk.h"
#include "reliability/tool_faults.h"

namespace msg_tarvel {

namespace {

/** What a command says of such a disk. */
std::vector<std::string> words_of(FailingDisk::Kind kind) {
  switch (kind) {
    case FailingDisk::Kind::IO_ERROR:
      // The last is what SQLite's integrity check makes of it.
      return {"reading or writing it failed", "unable to get the page. error code=266"};
    case FailingDisk::Kind::FULL:
      return {"the disk is full"};
    case FailingDisk::Kind::READ_ONLY:
      // A file that cannot be deleted is none to write to.
      return {"it is read-only", "reading or writing it failed"};
    case FailingDisk::Kind::BUSY:
      return {"it is locked by another process"};
    default:
      return {"it cannot be opened"};
  }
}

FaultSource failing_disk() {
  FaultSource source = {FAILING_DISK_LIBRARY, "MSG_TARVEL_FAILING_DISK", {}};
  for (const FailingDisk::Failure& failure : FailingDisk::FAILURES) {
    std::ostringstream name;
    name << failure;
    // A lock that goes away again is waited for.
    const bool isEnding = failure.kind != FailingDisk::Kind::BUSY || failure.isForGood;
    source.failures.push_back({name.str(), words_of(failure.kind), isEnding});
  }
  return source;
}

class ToolDiskFaultsOfTransactions : public FaultsOfTransactions {
 protected:
  ToolDiskFaultsOfTransactions() : FaultsOfTransactions(failing_disk()) {}
};

TEST_F(ToolDiskFaultsOfTransactions, OfAnImportLeaveAllOrNothing) {
  beginWith([this] { create(); });
  failCommand({"import", file("b.xml", messages())}, 3);
  EXPECT_GT(unknown(), 0);
}

TEST_F(ToolDiskFaultsOfTransactions, OfARepairLeaveAllOrNothing) {
  beginWith([this] {
    create();
    damage();
  });
  failCommand({"repair"}, 3);
  EXPECT_GT(unknown(), 0);
}

class ToolDiskFaultsOfMaking : public FaultsOfMaking {
 protected:
  ToolDiskFaultsOfMaking() : FaultsOfMaking(failing_disk()) {}
};

TEST_F(ToolDiskFaultsOfMaking, OfANewStoreAreMendedByTheNext) { failCreate(2); }

TEST_F(ToolDiskFaultsOfMaking, OfAHalfMadeStoreAreMendedByTheNext) {
  beginWith([this] { makeHalf(); });
  failCreate(2);
}

class OwnerDiskFaults : public FaultsOfTheOwner {
 protected:
  OwnerDiskFaults() : FaultsOfTheOwner(failing_disk()) {}
};

TEST_F(OwnerDiskFaults, OfAnOwnerAreTold) {
  beginWith([this] { ASSERT_EQ(own().status, 0); });
  failOwner("owner", 1, 2);
  EXPECT_GT(unknown(), 0);
}

TEST_F(OwnerDiskFaults, OfANewOwnerAreTold) {
  failOwner("new owner", 0, 2);
  EXPECT_GT(unknown(), 0);
}

}  // namespace

}  // namespace msg_tarvel
