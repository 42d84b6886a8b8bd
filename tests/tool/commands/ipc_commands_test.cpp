// The commands about what travels between processes: the registry and serialized buffers.

#include <fcntl.h>
#include <msg-tarvel-common/ipc/MsgIPC.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "reliability/extent.h"
#include "support/as_root.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {
using msg_tarvel::MsgIPC;

class IpcCommands : public ToolTest {
 protected:
  /** A file with a serialized message that has two parts and one address. */
  std::string buffer() {
    create();
    import(mms({{ "sub", "Trip" }}, text_part("On the way") + data_part("image/png", "aGk="), ""));
    std::string path = folder() + "/message.bin";
    const ProcessResult encoded = run({"buffer", "encode", "1", "--output", path});
    EXPECT_EQ(encoded.status, 0) << encoded.err;
    return path;
  }
  static std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
  }
};

TEST_F(IpcCommands, ListTheWholeRegistry) {
  const MsgIPC registry;
  const auto list = json({"ipc"});
  ASSERT_EQ(list.size(), 29U);
  for (int i = 0; i < 29; ++i) {
    const auto command = static_cast<MsgIPC::IpcCommand>(i);
    const auto& row = list[static_cast<std::size_t>(i)];
    EXPECT_EQ(row["number"], i);
    EXPECT_EQ(row["method"], registry.getCmdString(command));
    EXPECT_EQ(row["struct"], registry.getCmdStruct(command));
    EXPECT_EQ("(" + row["signature"].get<std::string>() + ")", row["struct"]);
    EXPECT_EQ(row["parameters"], registry.getCmdStructLenth(command));
  }
}

TEST_F(IpcCommands, ListOneByNameOrNumber) {
  for (const std::string choice : {"nms_update_subscription_info", "28"}) {
    const ProcessResult result = run({"ipc", choice});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              "NUMBER  METHOD                        SIGNATURE  PARAMETERS\n"
              "    28  nms_update_subscription_info  (ts)                2\n");
  }
}

TEST_F(IpcCommands, FindNothingForWhatIsNoCommand) {
  for (const std::string choice : {"add", "ADD_MESSAGE", "29", "998", "999", "100000000000"}) {
    const ProcessResult result = run({"ipc", choice});
    EXPECT_EQ(result.status, 1) << choice;
    EXPECT_EQ(result.out, "") << choice;
    EXPECT_EQ(result.err, "msg-tarvel: there is no command '" + choice + "'\n");
  }
}

TEST_F(IpcCommands, AnEncodedMessageIsWellFormed) {
  const std::string path = buffer();
  const ProcessResult checked = run({"buffer", "check", path});
  EXPECT_EQ(checked.status, 0) << checked.err;
  EXPECT_EQ(checked.out, "message, " + std::to_string(std::filesystem::file_size(path)) +
                             " bytes, well-formed\n");
  const ProcessResult piped = run({"buffer", "encode", "1"});
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(piped.out.size(), std::filesystem::file_size(path));
  const ProcessResult missing = run({"buffer", "encode", "99"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "msg-tarvel: the store has no message 99\n");
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"buffer", "encode", "1", "--json"},
        {"--json", "buffer", "encode", "1"}}) {
    const ProcessResult refused = run(command);
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.err, "msg-tarvel: buffer encode: a buffer cannot be JSON\n");
  }
}

TEST_F(IpcCommands, ShowCoversEveryByteOnce) {
  const std::string path = buffer();
  const auto shown = json({"buffer", "show", path});
  EXPECT_EQ(shown["kind"], "message");
  EXPECT_EQ(shown["damage"], "");
  std::size_t next = 0;
  for (const auto& field : shown["fields"]) {
    EXPECT_EQ(field["offset"], next) << field;
    next += field["size"].get<std::size_t>();
  }
  EXPECT_EQ(next, std::filesystem::file_size(path));

  const std::string text = shown.dump();
  for (const std::string part : {"Trip", "On the way", "image/png", "slot 8: displayTime",
                                 "number of addresses", "content 2", "metadata present"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part;
  }
}

TEST_F(IpcCommands, EveryPrefixIsDamagedWhereItEnds) {
  const std::string whole = contentOf(buffer());
  constexpr int STEP = 7 * SHARE;
  for (std::size_t size = 0; size < whole.size(); size += STEP) {
    const std::string path = file("cut.bin", whole.substr(0, size));
    const ProcessResult checked = run({"buffer", "check", path});
    EXPECT_EQ(checked.status, 1) << size;
    EXPECT_EQ(checked.out, "") << size;
    EXPECT_EQ(checked.err.rfind("msg-tarvel: " + path + ": damaged at offset ", 0), 0U)
        << checked.err;
  }
}

TEST_F(IpcCommands, DamageIsShownBehindWhatIsGood) {
  std::string bytes = contentOf(buffer());
  bytes[85] = 4;  // the number of strings
  const std::string path = file("damaged.bin", bytes);
  const ProcessResult shown = run({"buffer", "show", path});
  EXPECT_EQ(shown.status, 1);
  EXPECT_EQ(shown.err, "msg-tarvel: " + path +
                           ": damaged at offset 85: the number of strings of the message is 4, "
                           "not 3\n");
  EXPECT_NE(shown.out.find("slot 20"), std::string::npos) << shown.out;
  EXPECT_EQ(shown.out.find("\n    85  "), std::string::npos) << shown.out;

  const std::string tooLong = file("long.bin", contentOf(folder() + "/message.bin") + "xy");
  EXPECT_NE(run({"buffer", "check", tooLong}).err.find(": 2 bytes too many\n"), std::string::npos);
  const std::string other = file("other.bin", "<smses/>");
  EXPECT_NE(run({"buffer", "check", other})
                .err.find("damaged at offset 0: the first byte is 60, neither that of a message "
                          "(84) nor of metadata (56)\n"),
            std::string::npos);
  EXPECT_EQ(run({"buffer"}).status, 2);
}

TEST_F(IpcCommands, AFileThatCannotBeReadIsNamedWithTheReason) {
  const std::string huge = file("huge.bin", "");
  std::filesystem::resize_file(huge, std::uintmax_t{1} << 31);
  const std::pair<std::string, std::string> files[] = {
      {folder() + "/none", "No such file or directory"},
      {folder(), "Is a directory"},
      {"/proc/self/mem", "Input/output error"},
      {huge, "it is larger than a buffer can be"},
  };
  for (const char* const command : {"show", "check"}) {
    for (const auto& [path, why] : files) {
      const ProcessResult result = run({"buffer", command, path});
      EXPECT_EQ(result.status, 3) << path;
      EXPECT_EQ(result.out, "") << path;
      EXPECT_EQ(result.err, "msg-tarvel: cannot read " + path + ": " + why + "\n");
    }
  }
}

TEST_F(IpcCommands, OfWhatIsNoBufferNothingIsShown) {
  const ProcessResult empty = run({"buffer", "show", file("empty.bin", "")});
  EXPECT_EQ(empty.status, 1);
  EXPECT_EQ(empty.out, "");
  const ProcessResult checked =
      run({"buffer", "check", file("cut.bin", std::string(1, 84) + "abc"), "--json"});
  EXPECT_EQ(checked.status, 1);
  const auto verdict = nlohmann::json::parse(checked.out);
  EXPECT_EQ(verdict["kind"], "message");
  EXPECT_EQ(verdict["size"], 4);
  EXPECT_EQ(verdict["damage"], "slot 0 takes 4 bytes, 3 are left");
  EXPECT_EQ(verdict["damageOffset"], 1);
}

TEST_F(IpcCommands, ShowsOnlyTheFirstBytesAndNothingThatATerminalObeys) {
  std::string bytes = std::string(1, 84) + std::string(84, '\0') + std::string("\3\4\0\0\0", 5);
  bytes += "\x1B[2J" + std::string("\5\0\0\0", 4) + "\xFFtext" + std::string(7, '\0');
  const std::string path = file("odd.bin", bytes);
  const ProcessResult shown = run({"buffer", "show", path});
  EXPECT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(shown.out.find('\x1B'), std::string::npos);
  EXPECT_NE(shown.out.find("\n    90  1b 5b 32 4a   message  msgType  "), std::string::npos)
      << shown.out;
  EXPECT_NE(shown.out.find("\n    98  ff 74 65 78…  message  mainText  "), std::string::npos)
      << shown.out;
  EXPECT_NE(json({"buffer", "show", path}).dump().find("\uFFFDtext"), std::string::npos);
}

TEST_F(IpcCommands, EncodeSaysWhyItCannot) {
  const ProcessResult noStore = run({"buffer", "encode", "1"});
  EXPECT_EQ(noStore.status, 3);
  EXPECT_NE(noStore.err, "");
  buffer();
  const ProcessResult full = run({"buffer", "encode", "1", "--output", "/dev/full"});
  EXPECT_EQ(full.status, 3);
  EXPECT_EQ(full.err, "msg-tarvel: cannot write /dev/full: No space left on device\n");
  const ProcessResult noFolder = run({"buffer", "encode", "1", "--output", folder() + "/no/file"});
  EXPECT_EQ(noFolder.status, 3);
  EXPECT_NE(noFolder.err.find("No such file or directory\n"), std::string::npos) << noFolder.err;
}

TEST_F(IpcCommands, EncodeWritesFilesOfThisUserAlone) {
  buffer();
  const std::string path = folder() + "/new.bin";
  const auto encode = [&] { return run({"buffer", "encode", "1", "--output", path}); };
  ASSERT_EQ(encode().status, 0);
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  const std::size_t size = content_of(path).size();
  std::ofstream(path, std::ios::app) << std::string(5000, 'x');
  ASSERT_EQ(encode().status, 0);
  const std::string written = content_of(path);
  EXPECT_EQ(written.size(), size) << "one that was there";

  const std::string other = folder() + "/other.bin";
  const auto expectRefused = [&](const std::string& why) {
    expectFailure(encode(), "cannot write " + path + ": ", why);
    std::filesystem::remove(path);
  };
  std::filesystem::rename(path, other);
  std::filesystem::create_symlink(other, path);
  expectRefused("Too many levels of symbolic links");
  std::filesystem::create_hard_link(other, path);
  expectRefused("it is a file elsewhere too (hard link)");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  expectRefused("No such device or address");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  expectRefused("it is not a regular file");
  close(reader);
  EXPECT_EQ(content_of(other), written);
}

/** Names in a folder. */
std::vector<std::string> names_below(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    names.push_back(entry.path().filename());
  }
  return names;
}

TEST_F(IpcCommands, EncodeChangesNothingOfAFileBeforeAllIsWritten) {
  const std::size_t size = content_of(buffer()).size();
  const std::string target = folder() + "/out";
  std::filesystem::create_directory(target);
  const std::string path = file("out/message.bin", "what was there before");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  const std::ifstream before(path);
  ASSERT_EQ(run({"buffer", "encode", "1", "--output", path}).status, 0);
  std::stringstream bytes;
  bytes << before.rdbuf();
  EXPECT_EQ(bytes.str(), "what was there before");
  EXPECT_EQ(content_of(path).size(), size);
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  EXPECT_EQ(names_below(target), std::vector<std::string>{"message.bin"});
}

TEST_F(IpcCommands, EncodeOnAFullDiskLeavesTheFileThatWasThere) {
  AS_ROOT();
  const std::size_t size = content_of(buffer()).size();
  const std::string small = folder() + "/small";
  std::filesystem::create_directory(small);
  if (mount("none", small.c_str(), "tmpfs", 0, "size=8k") != 0) {
    GTEST_SKIP() << "nothing can be mounted here";
  }
  const std::string path = file("small/message.bin", "what was there before");
  ASSERT_EQ(chown(path.c_str(), 0, 5000), 0);
  ASSERT_EQ(chmod(path.c_str(), 0660), 0);
  const auto encode = [&] { return run({"buffer", "encode", "1", "--output", path}); };
  const std::string rest = file("small/rest", "x");
  expectFailure(encode(), "cannot write " + path, ": No space left on device");
  EXPECT_EQ(content_of(path), "what was there before");
  EXPECT_EQ(names_below(small).size(), 2U);
  std::filesystem::remove(rest);
  EXPECT_EQ(encode().status, 0);
  EXPECT_EQ(content_of(path).size(), size);
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, 5000U);
  EXPECT_EQ(status.st_mode & 07777U, 0660U);
  umount(small.c_str());
}

TEST_F(IpcCommands, EncodeWritesNoFileOfAnotherUser) {
  AS_ROOT();
  buffer();
  const std::string path = file("theirs.bin", "x");
  ASSERT_EQ(chown(path.c_str(), NOBODY, NOBODY), 0);
  expectFailure(run({"buffer", "encode", "1", "--output", path}),
                "cannot write " + path + ": it is another user's file");
  EXPECT_EQ(content_of(path), "x");
}

}  // namespace
}  // namespace msg_tarvel
