// How the tests run other programs.

#include "support/processes.h"

#include <gtest/gtest.h>

namespace msg_tarvel {
namespace {

TEST(Processes, ASanitizersReportIsNoFailureOfTheProgramsOwn) {
  for (const std::string name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"}) {
    const std::vector<std::string> shown = {"printenv", name};
    EXPECT_EQ(run_program(shown, {name}).out, "exitcode=99\n");
    EXPECT_EQ(run_program(shown, {name + "=verbosity=0"}).out, "verbosity=0:exitcode=99\n");
  }
}

}  // namespace
}  // namespace msg_tarvel
