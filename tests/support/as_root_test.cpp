// What AS_ROOT() makes of a test, for whoever runs it; as_root_test.sh looks on from outside.

#include "support/as_root.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "support/processes.h"

namespace msg_tarvel {

namespace {

TEST(AsRootTest, HasTheUsersAndGroupsThatTestsNeed) {
  AS_ROOT();
  EXPECT_EQ(getuid(), 0U);
  Child member([] { return become_nobody({5000}) && getuid() == 65534 ? 0 : 1; });
  EXPECT_EQ(member.wait(), 0);
}

TEST(AsRootTest, FailsWhereTheRepeatedTestFails) {
  AS_ROOT();
  EXPECT_EQ(std::getenv("AS_ROOT_TEST_FAILS"), nullptr);
}

}  // namespace

}  // namespace msg_tarvel
