// The main function of every test program. The library settles for one store in each process, so
// that CTest starts the program for each test; with `--each SECONDS [TEST]...` it runs all of them,
// or those, so by itself, which takes a tenth of the time, and ends with status 1 once one has
// failed or taken longer.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> names_of_tests() {
  std::vector<std::string> names;
  const ::testing::UnitTest& program = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const ::testing::TestSuite& suite = *program.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      const std::string name = std::string(suite.name()) + "." + suite.GetTestInfo(j)->name();
      if (name.find("DISABLED_") == std::string::npos) names.push_back(name);
    }
  }
  return names;
}

/** Two at once for each processor, as many only wait; the number of those that failed. */
int run_each_in_a_process(const std::vector<std::string>& names, unsigned seconds) {
  std::map<pid_t, std::string> running;
  int failed = 0;
  const auto await_one = [&running, &failed] {
    int status = 0;
    const auto ended = running.find(wait(&status));
    if (ended == running.end()) return;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      std::printf("failed: %s\n", ended->second.c_str());
      ++failed;
    }
    running.erase(ended);
  };
  const std::size_t most = std::size_t{2} * std::max(1U, std::thread::hardware_concurrency());
  for (const std::string& name : names) {
    while (running.size() >= most) await_one();
    if (failed > 0) break;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      alarm(seconds);
      ::testing::GTEST_FLAG(filter) = name;
      std::exit(RUN_ALL_TESTS());
    }
    running.emplace(child, name);
  }
  while (!running.empty()) await_one();
  return failed;
}

}  // namespace

int main(int argc, char** argv) {
  // Whoever starts the tests may ignore some, as nohup and a shell's & do.
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM}) std::signal(number, SIG_DFL);
  ::testing::InitGoogleTest(&argc, argv);
  if (argc < 3 || std::string(argv[1]) != "--each") return RUN_ALL_TESTS();
  const auto seconds = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
  const std::vector<std::string> named(argv + 3, argv + argc);
  return std::min(run_each_in_a_process(named.empty() ? names_of_tests() : named, seconds), 1);
}
