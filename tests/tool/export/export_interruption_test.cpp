// An export with a directory for its files that is ended from outside, or has nobody to read its
// lines: no file stays.

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <memory>
#include <utility>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

/** A pipe, for the lines. */
class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe2(_ends, O_CLOEXEC), 0); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    for (const int end : _ends) close(end);
  }

  int writingEnd() const { return _ends[1]; }
  void closeReadingEnd() { close(std::exchange(_ends[0], -1)); }
  void waitUntilFull() const {
    const int size = fcntl(_ends[1], F_GETPIPE_SZ);
    for (int waiting = 0; size - waiting >= PIPE_BUF; usleep(1000)) {
      ASSERT_EQ(ioctl(_ends[0], FIONREAD, &waiting), 0);
    }
  }

 private:
  int _ends[2] = {-1, -1};
};

class ExportInterruption : public ToolTest {
 protected:
  void SetUp() override {
    create();
    // More lines than go into a pipe.
    ASSERT_EQ(run({"generate", "--messages", "300"}).status, 0);
  }

  std::string media() const { return folder() + "/files"; }
  std::string errors() const { return content_of(folder() + "/errors"); }

  std::unique_ptr<Child> start(const Pipe& lines) const {
    const std::string path = file("errors", "");
    return std::make_unique<Child>(
        [&lines, command = command({"export", "--media", media()}), path] {
          dup2(lines.writingEnd(), STDOUT_FILENO);
          dup2(open(path.c_str(), O_WRONLY), STDERR_FILENO);
          execute(command);
          return 127;
        });
  }
};

TEST_F(ExportInterruption, LeavesNoFiles) {
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    const Pipe lines;
    const auto running = start(lines);
    lines.waitUntilFull();
    EXPECT_FALSE(fs::is_empty(media()));
    kill(running->pid(), signal);
    EXPECT_EQ(running->wait(), 128 + signal);
    EXPECT_EQ(errors(), "msg-tarvel: interrupted; no file was kept, and the lines are not whole\n");
    EXPECT_FALSE(fs::exists(media()));
  }
}

TEST_F(ExportInterruption, ByAReaderWhoIsGoneLeavesNoFiles) {
  Pipe lines;
  lines.closeReadingEnd();
  EXPECT_EQ(start(lines)->wait(), 3);
  EXPECT_EQ(errors(), "msg-tarvel: cannot write the output\n");
  EXPECT_FALSE(fs::exists(media()));
}

}  // namespace
}  // namespace msg_tarvel
