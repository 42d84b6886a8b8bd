// What the library tells when there is no memory to keep it: that something failed is known, and no
// exception comes out of the log, which destructors write to.

#include "store/log_sink.h"

#include <dlog.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "support/next_function.h"
#include "support/scarce_memory.h"

namespace {

bool isLineRefused = false;

}  // namespace

/** In front of the C library's, whose parameters have reserved names. */
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int vasprintf(char** text, const char* format, va_list arguments) noexcept {
  static const auto next = msg_tarvel::next_function("vasprintf", &vasprintf);
  if (!isLineRefused) return next(text, format, arguments);
  errno = ENOMEM;
  return -1;
}

namespace msg_tarvel::tool {
namespace {

constexpr const char* WHAT_FAILED = "cannot read";
constexpr const char* NO_MEMORY = "cannot read: out of memory";

class LogSink : public ::testing::Test {
 protected:
  LogSink() { forget_log_errors(); }
  ~LogSink() override { isLineRefused = false; }

  /** A line as the library writes it. */
  static void tell(int priority, const char* what) {
    __dlog_print(LOG_ID_MAIN, priority, "MSG_TARVEL", "%s: %s(%d) > \033[0;31m%s\033[0;m\n",
                 "DBMgr.cpp", "open", 12, what);
  }

  /** Tells it with allocation 1, 2, ... refused; how many had to be there for `words` to be said.
   */
  template <typename Refused>
  static int refuseEach(const char* what, const std::string& words) {
    for (int number = 1; number < 50; ++number) {
      forget_log_errors();
      {
        const Refused refused(number);
        tell(DLOG_ERROR, what);
      }
      const std::string said = with_log_failure(WHAT_FAILED);
      if (said == words) return number - 1;
      EXPECT_TRUE(has_database_error()) << number;
      EXPECT_EQ(said, NO_MEMORY) << number;
    }
    ADD_FAILURE() << "no end of the allocations";
    return 0;
  }
};

TEST_F(LogSink, KnowsOfAnErrorWithoutMemoryForItsLine) {
  isLineRefused = true;
  tell(DLOG_INFO, "connected");
  EXPECT_FALSE(has_database_error());
  tell(DLOG_ERROR, "[ERROR] sqlite3_open() failed: (14)");
  EXPECT_TRUE(has_database_error());
  EXPECT_EQ(with_log_failure(WHAT_FAILED), NO_MEMORY);
}

TEST_F(LogSink, KnowsOfAnErrorWithoutMemoryForItsWords) {
  const char* const anOpen = "[ERROR] sqlite3_open() failed: (14)";
  const char* const opened = "cannot read: it cannot be opened";
  EXPECT_GT(refuseEach<OneRefusedAllocation>(anOpen, opened), 2);
  EXPECT_GT(refuseEach<MemoryForAllocations>(anOpen, opened), 2);
  const char* const aRight = "[ERROR] file access permission error";
  const char* const denied = "cannot read: permission denied";
  EXPECT_GT(refuseEach<OneRefusedAllocation>(aRight, denied), 2);
  EXPECT_GT(refuseEach<MemoryForAllocations>(aRight, denied), 2);
}

TEST_F(LogSink, KeepsTheFirstErrorWhenAnotherFindsNoMemory) {
  tell(DLOG_ERROR, "[ERROR] sqlite3_open() failed: (14)");
  isLineRefused = true;
  tell(DLOG_ERROR, "[ERROR] _createDbFile() failed: (-1)");
  EXPECT_EQ(with_log_failure(WHAT_FAILED), "cannot read: it cannot be opened");
}

}  // namespace
}  // namespace msg_tarvel::tool
