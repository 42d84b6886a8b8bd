// msg-tarvel buffer: encode, show and check.

#include <fcntl.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "commands/buffer_walk.h"
#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "filter/whole_number.h"
#include "helpers/record_mapping.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "interrupt.h"
#include "print/json.h"
#include "print/remark.h"
#include "print/table.h"
#include "store/descriptor.h"
#include "store/log_sink.h"
#include "store/new_file.h"
#include "store/store.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

/** Columns of the table. */
enum { OFFSET, BYTES, BLOCK, MEANING, VALUE };

constexpr std::size_t MOST_BYTES_SHOWN = 4;
constexpr std::streamsize CHUNK_SIZE = 65536;

struct EncodeArguments {
  int msgId = 0;
  std::string outputFile;
};

/** Of `show` and `check`. */
struct BufferArguments {
  std::string file;
};

[[noreturn]] void cannot_read(const std::string& path, const std::string& why) {
  throw Failure("cannot read " + path + ": " + why);
}

/** The bytes of a file, or of a pipe; what is larger than any buffer is not taken in. */
std::string read_file(const std::string& path) {
  constexpr std::size_t LARGEST_BUFFER = INT_MAX;
  constexpr const char* TOO_LARGE = "it is larger than a buffer can be";
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) cannot_read(path, std::strerror(errno));
  std::error_code hasNoSize;
  const std::uintmax_t size = std::filesystem::file_size(path, hasNoSize);
  if (!hasNoSize && size > LARGEST_BUFFER) cannot_read(path, TOO_LARGE);

  std::string content;
  std::vector<char> chunk(CHUNK_SIZE);
  while (file.read(chunk.data(), CHUNK_SIZE) || file.gcount() > 0) {
    content.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
    if (content.size() > LARGEST_BUFFER) cannot_read(path, TOO_LARGE);
  }
  if (file.bad()) cannot_read(path, std::strerror(errno));
  return content;
}

/** The first bytes in hexadecimal. */
std::string hex(const std::string& bytes) {
  static constexpr const char* HEX_DIGITS = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(bytes.size(), MOST_BYTES_SHOWN); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (i > 0) text += ' ';
    text += HEX_DIGITS[byte >> 4];
    text += HEX_DIGITS[byte & 15];
  }
  if (bytes.size() > MOST_BYTES_SHOWN) text += "…";
  return text;
}

void print_walk(const Output& output, const BufferWalk& walk, const std::string& buffer) {
  if (output.json) {
    Json fields = Json::array();
    for (const BufferField& field : walk.fields) {
      fields.push_back({{"offset", field.offset},
                        {"size", field.size},
                        {"block", field.block},
                        {"meaning", field.meaning},
                        {"value", field.value}});
    }
    print_json(output, {{"kind", walk.kind},
                        {"size", buffer.size()},
                        {"fields", fields},
                        {"damage", walk.damage},
                        {"damageOffset", walk.damageOffset}});
    return;
  }
  Table table({{"OFFSET", true}, {"BYTES"}, {"BLOCK"}, {"MEANING"}, {"VALUE"}},
              {{VALUE, 8}, {MEANING, 24}, {BYTES, 0}, {BLOCK, 0}});
  for (const BufferField& field : walk.fields) {
    table.add({std::to_string(field.offset), hex(buffer.substr(field.offset, field.size)),
               field.block, field.meaning, field.value});
  }
  if (!walk.fields.empty()) table.print(output.out, output.width);
}

/** FOUND for a whole buffer; of a damaged one it says where and why. */
int verdict(const BufferWalk& walk, const std::string& path) {
  if (walk.damage.empty()) return FOUND;
  remark(path + ": damaged at offset " + std::to_string(walk.damageOffset) + ": " + walk.damage);
  return FOUND_WRONG;
}

[[noreturn]] void cannot_write(const std::string& path, const std::string& why) {
  throw Failure("cannot write " + path + ": " + why);
}

/** What keeps a message from being written there; null for nothing. */
const char* objection_to(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return "it is not a regular file";
  if (status.st_uid != geteuid()) return "it is another user's file";
  return status.st_nlink > 1 ? "it is a file elsewhere too (hard link)" : nullptr;
}

void write_bytes(int descriptor, std::string_view content, const std::string& path) {
  while (!content.empty()) {
    const ssize_t count = write(descriptor, content.data(), content.size());
    if (count == -1 && errno != EINTR) cannot_write(path, std::strerror(errno));
    if (count > 0) content.remove_prefix(static_cast<std::size_t>(count));
  }
}

/** For those who could read the file that is replaced, if the group can be the same. */
void let_the_same_read(int descriptor, const struct stat& replaced) {
  constexpr auto SAME_OWNER = static_cast<uid_t>(-1);
  const bool hasGroup = fchown(descriptor, SAME_OWNER, replaced.st_gid) == 0;
  const mode_t mode = replaced.st_mode & (hasGroup ? 0777U : 0707U);
  static_cast<void>(fchmod(descriptor, mode) == 0);
}

/** Whole or not at all, but on a device: after a failure the file that was there still is. */
void write_file(const std::string& path, const std::string& content) {
  // Non-blocking, so that a named pipe is refused rather than waited for.
  const Descriptor there(open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  const bool isNew = !there.isOpen();
  if (isNew && errno != ENOENT) cannot_write(path, std::strerror(errno));
  struct stat status = {};
  if (!isNew && fstat(there.number(), &status) != 0) cannot_write(path, std::strerror(errno));
  if (S_ISCHR(status.st_mode)) {
    write_bytes(there.number(), content, path);
    return;
  }
  const char* const objection = isNew ? nullptr : objection_to(status);
  if (objection) cannot_write(path, objection);
  NewFile file(path, path);
  write_bytes(file.descriptor(), content, path);
  throw_if_interrupted();
  if (isNew) {
    file.finish();
  } else {
    let_the_same_read(file.descriptor(), status);
    file.replace();
  }
}

/** Writes a message of the store, serialized, to a file or to `output`. */
int encode_buffer(const Output& output, const EncodeArguments& arguments) {
  if (output.json) throw UsageError("buffer encode: a buffer cannot be JSON");
  const std::string& path = arguments.outputFile;
  if (path.empty() && isatty(STDOUT_FILENO) != 0) {
    throw UsageError("a buffer is no text for a terminal; name a file with --output");
  }
  const StoreView view;
  Message message;
  forget_log_errors();
  if (!is_found(db::db_get_message(arguments.msgId, message), helpers::CANNOT_READ)) {
    return nothing_found("the store has no message " + std::to_string(arguments.msgId));
  }
  const std::string buffer = helpers::to_buffer(message);
  if (path.empty()) {
    output.out << buffer;
  } else {
    interruptible("nothing was written", [&] { write_file(path, buffer); });
  }
  return FOUND;
}

/** A damaged buffer is shown as far as it is good. */
int show_buffer(const Output& output, const BufferArguments& arguments) {
  const std::string buffer = read_file(arguments.file);
  const BufferWalk walk = walk_buffer(buffer);
  print_walk(output, walk, buffer);
  return verdict(walk, arguments.file);
}

int check_buffer(const Output& output, const BufferArguments& arguments) {
  const std::string buffer = read_file(arguments.file);
  const BufferWalk walk = walk_buffer(buffer);
  if (output.json) {
    print_json(output, {{"kind", walk.kind},
                        {"size", buffer.size()},
                        {"damage", walk.damage},
                        {"damageOffset", walk.damageOffset}});
  } else if (walk.damage.empty()) {
    output.out << walk.kind << ", " << buffer.size() << " bytes, well-formed\n";
  }
  return verdict(walk, arguments.file);
}

void declare_encode(CommandSet& commands, CLI::App* group) {
  const auto arguments = std::make_shared<EncodeArguments>();
  CLI::App& app = commands.add(
      "encode", "Serializes a message of the store", "msg-tarvel buffer encode 3 > message.bin",
      [arguments](const Output& output) { return encode_buffer(output, *arguments); }, group);
  app.remove_option(app.get_option("--json"));
  app.add_option("MSGID", arguments->msgId, "The message, as 'messages' lists it")
      ->required()
      ->check(whole_number(0));
  app.add_option("-o,--output", arguments->outputFile, "Where to (default: standard output)")
      ->type_name("FILE");
}

}  // namespace

void declare_buffer(CommandSet& commands) {
  CLI::App* const group = &commands.addGroup("buffer", "Makes and explains serialized messages",
                                             "msg-tarvel buffer encode 3 --output message.bin");
  declare_encode(commands, group);

  const auto shown = std::make_shared<BufferArguments>();
  commands
      .add(
          "show", "Shows every field of a buffer, as far as it is good",
          "msg-tarvel buffer show message.bin",
          [shown](const Output& output) { return show_buffer(output, *shown); }, group)
      .add_option("FILE", shown->file, "The buffer")
      ->required();

  const auto checked = std::make_shared<BufferArguments>();
  commands
      .add(
          "check", "Says whether a file is one well-formed buffer",
          "msg-tarvel buffer check message.bin",
          [checked](const Output& output) { return check_buffer(output, *checked); }, group)
      .add_option("FILE", checked->file, "The buffer")
      ->required();
}

}  // namespace msg_tarvel::tool
