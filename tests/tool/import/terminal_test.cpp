// The progress bar of an import, and what an interruption leaves.

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>

#include "reliability/extent.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class Terminal : public ToolTest {
 protected:
  void SetUp() override { create(); }

  /** A backup that takes a second or two. */
  std::string longBackup(int texts = 60000 / SHARE) const {
    std::string picture;
    picture.resize(40000000, 'Q');
    std::string path = folder() + "/long.xml";
    std::ofstream out(path);
    out << "<smses>";
    for (int i = 1; i <= texts; ++i) out << sms({{"date", std::to_string(i)}});
    // Only a message with several addresses needs to know whose phone it is.
    out << mms({}, data_part("image/png", picture), addrs({{137, "+14155550111"}})) << "</smses>";
    return path;
  }
};

void ignore(const std::string& /*output*/, pid_t /*pid*/) {}

std::size_t count_of(const std::string& text, const std::string& what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++count;
  }
  return count;
}

TEST_F(Terminal, ShowsAProgressBarAndClearsIt) {
  const auto start = std::chrono::steady_clock::now();
  const ProcessResult result = runOnTerminal({"import", longBackup()}, ignore);
  const auto tenths = std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::steady_clock::now() - start)
                          .count() /
                      100;
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_NE(result.out.find("\r\033[Kchecking  ["), std::string::npos);
  EXPECT_NE(result.out.find("\r\033[Kimporting ["), std::string::npos);
  const std::size_t summary = result.out.find("\r\033[Kread: ");
  EXPECT_NE(summary, std::string::npos);
  EXPECT_LE(count_of(result.out, "%"), static_cast<std::size_t>(tenths) + 2);
}

TEST_F(Terminal, WithoutOneShowsNoBar) {
  const ProcessResult result = run({"import", longBackup()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

TEST_F(Terminal, GivesItsWidthToTables) {
  import(sms({{ "body", std::string(500, 'x') }}));
  for (const unsigned short width : {std::uint16_t{40}, std::uint16_t{80}, std::uint16_t{200}}) {
    const std::string out = runOnTerminal({"threads"}, ignore, width).out;
    const std::string row = out.substr(out.find('\n') + 1);
    // The terminal ends lines with "\r\n"; the ellipsis has three bytes in one column.
    EXPECT_EQ(row.size(), width + 2U + 2U * count_of(row, "…")) << out;
  }
}

TEST_F(Terminal, SeesTheLeastUsefulColumnsGiveWayFirst) {
  ASSERT_EQ(run({"import", std::string(SAMPLES_DIR) + "/backup.xml"}).status, 0);
  const auto title = [this](const char* command, unsigned short width) {
    const std::string out = runOnTerminal({command}, ignore, width).out;
    const std::size_t start = out.find("ID  ");
    return out.substr(start, out.find('\r', start) - start);
  };
  EXPECT_EQ(
      title("threads", 200),
      "ID  WITH                                    MSGS  UNREAD  STATE    LAST              TEXT");
  EXPECT_EQ(title("threads", 80),
            "ID  WITH              MSGS  UNREAD  STATE    LAST              TEXT");
  EXPECT_EQ(title("threads", 60), "ID  WITH          UNREAD  STATE    LAST         TEXT");
  EXPECT_EQ(
      title("messages", 200),
      "ID  CONV  TIME              FROM                                          BOX     STATE    "
      "TEXT");
  EXPECT_EQ(title("messages", 80), "ID  CONV  TIME              FROM                STATE    TEXT");
  EXPECT_EQ(title("messages", 60), "ID  TIME         FROM           STATE    TEXT");
}

TEST_F(Terminal, NoLineIsWider) {
  import(sms({{"body", std::string(500, 'x')}, { "address", "+14155550111" }}));
  const std::vector<std::vector<std::string>> commands = {
      {"threads"}, {"messages"}, {"find", "+14155550111"}, {"query"}, {"ipc"}, {"info"}};
  for (const std::vector<std::string>& command : commands) {
    for (const unsigned short width : {std::uint16_t{60}, std::uint16_t{80}, std::uint16_t{200}}) {
      const ProcessResult result = runOnTerminal(command, ignore, width);
      EXPECT_EQ(result.status, 0) << result.out;
      std::istringstream lines(result.out);
      for (std::string line; std::getline(lines, line);) {
        line.pop_back();  // the terminal's "\r"
        // A path stays whole.
        if (command[0] == "info" && line.find(' ', 16) == std::string::npos) continue;
        // The ellipsis has three bytes in one column.
        EXPECT_LE(line.size(), width + 2U * count_of(line, "…")) << command[0] << ": " << line;
      }
    }
  }
}

TEST_F(Terminal, SeesInfoGoOnBelow) {
  std::string out = runOnTerminal({"info"}, ignore, 60).out;
  EXPECT_NE(out.find("\r\nsetting         db/contacts-svc/phonenumber_min_match_digit\r\n"
                     "                = "),
            std::string::npos)
      << out;
  out = runOnTerminal({"info"}, ignore, 20).out;
  EXPECT_NE(out.find("\r\nschema          version\r\n                4,\r\n                14\r\n"
                     "                tables,\r\n"),
            std::string::npos)
      << out;
}

TEST_F(Terminal, WithoutOneNothingIsCut) {
  const std::string text(500, 'x');
  import(sms({{ "body", text }}));
  for (const char* command : {"threads", "messages"}) {
    EXPECT_NE(run({command}).out.find(text + "\n"), std::string::npos);
  }
}

TEST_F(Terminal, IsNotGivenTheBytesOfABuffer) {
  import(sms({{ "body", "text" }}));
  const ProcessResult refused = runOnTerminal({"buffer", "encode", "1"}, ignore, 200);
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.out,
            "msg-tarvel: a buffer is no text for a terminal; name a file with --output\r\n");
  const std::string path = folder() + "/message.bin";
  EXPECT_EQ(runOnTerminal({"buffer", "encode", "1", "--output", path}, ignore).status, 0);
  EXPECT_EQ(content_of(path).substr(0, 1), "T");
}

TEST_F(Terminal, AnInterruptedImportLeavesNothing) {
  import(sms({{ "body", "before" }}));
  const std::string before = everything();
  // So long that the signal comes before the end, however busy the machine.
  const std::string path = longBackup(400000);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    bool isSent = false;
    const ProcessResult result =
        runOnTerminal({"import", path}, [&](const std::string& output, pid_t pid) {
          if (isSent || output.find("importing [") == std::string::npos) return;
          isSent = kill(pid, signal) == 0;
        });
    EXPECT_TRUE(isSent);
    EXPECT_EQ(result.status, 128 + signal) << result.out;
    EXPECT_NE(result.out.find("\r\033[Kmsg-tarvel: interrupted; nothing was imported"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(everything(), before);
  }
}

}  // namespace
}  // namespace msg_tarvel
