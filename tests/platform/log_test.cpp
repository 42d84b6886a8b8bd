#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/platform_test.h"

namespace msg_tarvel::platform_test {

const std::string DEBUG = "3";
const std::string INFO = "4";
const std::string WARN = "5";
const std::string ERROR = "6";

/** A line as the library makes it, colours, newline and all. */
std::string library_line(const std::string& message) {
  return "Content.cpp: setRawData(12) > \033[0;31m" + message + "\033[0;m\n";
}

const std::string PREFIX = "Content.cpp: setRawData(12) > ";

class LogToPipe : public PlatformTest {
 protected:
  static Log logged(const std::string& priority, const std::string& text,
                    const std::vector<std::string>& environment = {}) {
    const ProcessResult result = run_platform({"log", priority, text}, environment);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "") << "the log belongs on standard error";
    EXPECT_EQ(result.err.find('\033'), std::string::npos) << "escapes belong on a terminal";
    return log_in(result.err);
  }
};

TEST_F(LogToPipe, ShowsErrorsAndWarningsOnly) {
  EXPECT_EQ(logged(ERROR, "a text"), (Log{{"CRITICAL", "a text"}}));
  EXPECT_EQ(logged(WARN, "a text"), (Log{{"WARNING", "a text"}}));
  EXPECT_EQ(logged(INFO, "a text"), Log());
  EXPECT_EQ(logged(DEBUG, "a text"), Log());
}

TEST_F(LogToPipe, ShowsTheRestWhenAskedForIt) {
  for (const char* domains : {"MSG_TARVEL", "all", "another MSG_TARVEL"}) {
    const std::vector<std::string> environment = {std::string("G_MESSAGES_DEBUG=") + domains};
    EXPECT_EQ(logged(INFO, "a text", environment), (Log{{"INFO", "a text"}})) << domains;
    EXPECT_EQ(logged(DEBUG, "a text", environment), (Log{{"DEBUG", "a text"}})) << domains;
    EXPECT_EQ(logged(ERROR, "a text", environment), (Log{{"CRITICAL", "a text"}})) << domains;
  }
  EXPECT_EQ(logged(INFO, "a text", {"G_MESSAGES_DEBUG=another"}), Log());
}

TEST_F(LogToPipe, LeavesColoursAndTrailingNewlinesOut) {
  EXPECT_EQ(logged(ERROR, library_line("[ERROR] no")), (Log{{"CRITICAL", PREFIX + "[ERROR] no"}}));
  EXPECT_EQ(logged(WARN, "\033[0;35mtext\033[0;m\n\n"), (Log{{"WARNING", "text"}}));
  EXPECT_EQ(logged(ERROR, ""), (Log{{"CRITICAL", ""}}));
}

TEST_F(LogToPipe, ShowsDataAsItIs) {
  for (const std::string data : {"%s%n%d", "100 %", "\xed\x95\x9c\xea\xb8\x80 \xf0\x9f\x98\x82"}) {
    EXPECT_EQ(logged(ERROR, library_line(data), {"LC_ALL=C.UTF-8"}),
              (Log{{"CRITICAL", PREFIX + data}}));
  }
  const std::string longData(100000, 'x');
  EXPECT_EQ(logged(ERROR, longData), (Log{{"CRITICAL", longData}}));
}

TEST_F(LogToPipe, LetsNoOtherEscapeThrough) {
  const Log log = logged(ERROR, "\033[2Jclear\033]0;title\007");
  ASSERT_EQ(log.size(), 1U);
  EXPECT_NE(log[0].second.find("clear"), std::string::npos);
}

// ---- On a terminal -----------------------------------------------------------------------------

class LogToTerminal : public PlatformTest {
 protected:
  /** What the terminal that is platform-program's standard error shows, without its line ends. */
  static std::string shown(const std::string& priority, const std::string& text,
                           const std::string& domains = "") {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    const std::string name = ptsname(terminal);
    // Held open so that the terminal's end is not reached before the child has opened it.
    const int keeper = open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);

    Child child([&] {
      const int end = open(name.c_str(), O_RDWR | O_NOCTTY);
      dup2(end, STDERR_FILENO);
      setEnvironment("TERM", "xterm");
      setEnvironment("G_MESSAGES_DEBUG", domains);
      execute({PLATFORM_PROGRAM, "log", priority, text});
      return 127;
    });
    EXPECT_EQ(child.wait(), 0);
    close(keeper);

    std::string output;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
      output.append(buffer, static_cast<std::size_t>(count));
    }
    close(terminal);
    return std::regex_replace(output, std::regex("\r"), "");
  }

  /** Expects one line in `colour` that ends with `message`, the reset escape and a newline. */
  static void expectLine(const std::string& output, const std::string& colour,
                         const std::string& message) {
    const std::string end = message + "\033[0;m\n";
    EXPECT_EQ(output.find(colour), 0U) << output;
    EXPECT_EQ(output.rfind(end), output.size() - end.size()) << output;
    EXPECT_EQ(std::count(output.begin(), output.end(), '\033'), 2) << output;
  }
};

constexpr const char* RED = "\033[0;31m";
constexpr const char* GREEN = "\033[0;32m";
constexpr const char* MAGENTA = "\033[0;35m";

TEST_F(LogToTerminal, HasTheColourOfItsPriority) {
  expectLine(shown(ERROR, "a text"), RED, ": a text");
  expectLine(shown(WARN, "a text"), MAGENTA, ": a text");
  expectLine(shown(INFO, "a text", "MSG_TARVEL"), GREEN, ": a text");
}

TEST_F(LogToTerminal, HasTheLibrarysEscapesOnlyOnce) {
  expectLine(shown(ERROR, library_line("[ERROR] %s %n")), RED, PREFIX + "[ERROR] %s %n");
}

TEST_F(LogToTerminal, ShowsInfoOnlyWhenAskedForIt) {
  EXPECT_EQ(shown(INFO, "a text"), "");
  EXPECT_EQ(shown(INFO, "a text", "another"), "");
}

}  // namespace msg_tarvel::platform_test
