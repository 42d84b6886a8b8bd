// The main function of every test program. The library settles for one store in each process, so
// that CTest starts the program for each test; with --each it runs them all so by itself, which
// takes a tenth of the time, and ends with status 1 once one has failed.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
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
int run_each_in_a_process() {
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
  for (const std::string& name : names_of_tests()) {
    while (running.size() >= most) await_one();
    if (failed > 0) break;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
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
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) std::signal(number, SIG_DFL);
  ::testing::InitGoogleTest(&argc, argv);
  if (argc == 2 && std::string(argv[1]) == "--each") return std::min(run_each_in_a_process(), 1);
  return RUN_ALL_TESTS();
}
