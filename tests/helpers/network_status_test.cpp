#include "helpers/network_status.h"

#include <gtest/gtest.h>

namespace msg_tarvel::helpers {

namespace {

TEST(NetworkStatus, IsStoredAsTheLibraryReadsIt) {
  EXPECT_EQ(NETWORK_SENDING, 1);
  EXPECT_EQ(NETWORK_SENT, 2);
  EXPECT_EQ(NETWORK_FAILED, 3);
  EXPECT_EQ(NETWORK_NONE, 16);
}

}  // namespace

}  // namespace msg_tarvel::helpers
