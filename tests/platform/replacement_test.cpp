// A program that defines one of the platform's functions itself replaces that one, for the library
// and for the platform library, and no other.

#include <dlog.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <vconf.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "msg-tarvel-common/utility/common_util_funcs.h"

namespace {

/** The lines that this program's own log function was given. */
std::vector<std::string> logged;

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int /*prio*/, const char* /*tag*/, const char* fmt, ...) {
  char line[1024];
  std::va_list arguments;
  va_start(arguments, fmt);
  const int length = std::vsnprintf(line, sizeof line, fmt, arguments);
  va_end(arguments);
  logged.emplace_back(line);
  return length;
}

namespace {

TEST(Replacement, IsCalledByTheLibraryWhileTheOthersStay) {
  setenv("MSG_TARVEL_SETTINGS", "/nonexistent/settings.ini", 1);
  EXPECT_EQ(msg_tarvel::common_util::get_min_match_digit(), 8);
  ASSERT_EQ(logged.size(), 1U);
  EXPECT_NE(logged[0].find("numberMinMatchDigit: [8]"), std::string::npos) << logged[0];
}

TEST(Replacement, IsCalledByThePlatformLibraryToo) {
  setenv("MSG_TARVEL_SETTINGS", "/", 1);
  EXPECT_EQ(vconf_get_str("db/csc/country_iso"), nullptr);
  ASSERT_EQ(logged.size(), 1U);
  EXPECT_EQ(logged[0].find("The settings file / cannot be read: "), 0U) << logged[0];
}

}  // namespace
