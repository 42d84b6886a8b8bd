#include "support/as_root.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include "support/processes.h"

namespace msg_tarvel {

namespace {

using Command = std::vector<std::string>;

Command operator+(Command command, const Command& arguments) {
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

/** Whether a command behind `way` is root and may become a user and a group that the tests use. */
bool leads_to_root(const Command& way) {
  const Command tried = {"setpriv", "--reuid=65534", "--regid=65534", "--groups=5000", "true"};
  return run_program(way + tried).status == 0;
}

/** What to put before a command for it to run as root; nothing where there is no way. */
Command way_to_root() {
  for (const Command& way :
       {Command{"unshare", "--user", "--map-root-user", "--map-auto", "--mount"},
        Command{"sudo", "--non-interactive", "--preserve-env"}}) {
    if (leads_to_root(way)) return way;
  }
  return {};
}

/** This program, running nothing but the test that runs now. */
Command this_test() {
  const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
  return {std::filesystem::read_symlink("/proc/self/exe"),
          std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name()};
}

}  // namespace

const char* const WHY_NOT_ROOT =
    "needs root, a user namespace with subordinate users (newuidmap, /etc/subuid), or sudo that "
    "asks for no password";

AsRoot as_root() {
  if (geteuid() == 0) return AsRoot::ALREADY;
  const Command way = way_to_root();
  if (way.empty()) return AsRoot::IMPOSSIBLE;
  const ProcessResult result = run_program(way + runnable(this_test()));
  if (result.status == 0 && result.out.find("[       OK ]") != std::string::npos) {
    return AsRoot::PASSED;
  }
  std::fputs((result.out + result.err).c_str(), stderr);
  return AsRoot::FAILED;
}

}  // namespace msg_tarvel
