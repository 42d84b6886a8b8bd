#include "store/media.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <new>

namespace msg_tarvel::tool {

namespace {

// As where there is no memory to read one: nobody takes it for a directory without files.
TEST(MediaNames, OfWhatCannotBeReadAreNotNone) {
  const int noDirectory = open("/dev/null", O_RDONLY | O_CLOEXEC);
  EXPECT_THROW(names_of(noDirectory), std::bad_alloc);
  EXPECT_EQ(fcntl(noDirectory, F_GETFD), -1) << "it is left open";
}

}  // namespace

}  // namespace msg_tarvel::tool
