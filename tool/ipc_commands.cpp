#include "ipc_commands.h"

#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/ipc/MsgIPC.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <system_error>
#include <vector>

#include "buffer_walk.h"
#include "commands.h"
#include "failure.h"
#include "helpers/record_mapping.h"
#include "log_sink.h"
#include "store.h"
#include "table.h"

namespace msg_tarvel::tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t MOST_BYTES_SHOWN = 4;
constexpr std::streamsize CHUNK_SIZE = 65536;
constexpr int NUMBER_BASE = 10;

void print_json(const Output& output, const Json& json) {
  output.out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

/** The numbers below the registry's bound that are commands, or the one that is asked for. */
std::vector<MsgIPC::IpcCommand> chosen_commands(const MsgIPC& registry, const std::string& choice) {
  char* end = nullptr;
  const long number = std::strtol(choice.c_str(), &end, NUMBER_BASE);
  const bool isNumber = !choice.empty() && *end == '\0';
  if (!choice.empty() && !isNumber) {
    const MsgIPC::IpcCommand command = registry.getCmdByMethodName(choice);
    if (command == MsgIPC::IPC_COMMAND_NONE) return {};
    return {command};
  }
  std::vector<MsgIPC::IpcCommand> commands;
  for (int i = 0; i < MsgIPC::IPC_COMMAND_NONE; ++i) {
    const auto command = static_cast<MsgIPC::IpcCommand>(i);
    if ((!isNumber || number == i) && !registry.getCmdString(command).empty()) {
      commands.push_back(command);
    }
  }
  return commands;
}

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
  static constexpr const char* DIGITS = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(bytes.size(), MOST_BYTES_SHOWN); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (i > 0) text += ' ';
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 15];
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
  Table table({{"OFFSET", 0, true}, {"BYTES"}, {"BLOCK"}, {"MEANING", 24}, {"VALUE", 8}});
  for (const BufferField& field : walk.fields) {
    table.add({std::to_string(field.offset), hex(buffer.substr(field.offset, field.size)),
               field.block, field.meaning, field.value});
  }
  if (!walk.fields.empty()) table.print(output.out, output.width);
}

/** FOUND for a whole buffer; a damaged one throws a Failure that says where and why. */
int verdict(const BufferWalk& walk, const std::string& path) {
  if (walk.damage.empty()) return FOUND;
  throw Failure(path + ": damaged at offset " + std::to_string(walk.damageOffset) + ": " +
                walk.damage);
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!file.flush()) throw Failure("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace

int list_ipc_commands(const Output& output, const std::string& nameOrNumber) {
  const MsgIPC registry;
  Json list = Json::array();
  Table table({{"NUMBER", 0, true}, {"METHOD"}, {"SIGNATURE"}, {"PARAMETERS", 0, true}});
  const std::vector<MsgIPC::IpcCommand> commands = chosen_commands(registry, nameOrNumber);
  for (const MsgIPC::IpcCommand command : commands) {
    const std::string name = registry.getCmdString(command);
    const std::string wrapped = registry.getCmdStruct(command);
    const std::string signature = wrapped.substr(1, wrapped.size() - 2);
    const unsigned int parameters = registry.getCmdStructLenth(command);
    list.push_back({{"number", static_cast<int>(command)},
                    {"method", name},
                    {"signature", signature},
                    {"struct", wrapped},
                    {"parameters", parameters}});
    table.add({std::to_string(command), name, signature, std::to_string(parameters)});
  }
  if (output.json) {
    print_json(output, list);
  } else if (!commands.empty()) {
    table.print(output.out, output.width);
  }
  return commands.empty() ? NOTHING_FOUND : FOUND;
}

int encode_buffer(const Output& output, int msgId, const std::string& path) {
  if (path.empty() && isatty(STDOUT_FILENO) != 0) {
    throw UsageError("a buffer is no text for a terminal; name a file with --output");
  }
  require_store();
  const StoreSession session;
  Message message;
  forget_log_errors();
  if (!is_found(db::db_get_message(msgId, message), "cannot read the message store")) {
    return NOTHING_FOUND;
  }
  const std::string buffer = helpers::to_buffer(message);
  if (path.empty()) {
    output.out << buffer;
  } else {
    write_file(path, buffer);
  }
  return FOUND;
}

int show_buffer(const Output& output, const std::string& path) {
  const std::string buffer = read_file(path);
  const BufferWalk walk = walk_buffer(buffer);
  print_walk(output, walk, buffer);
  return verdict(walk, path);
}

int check_buffer(const Output& output, const std::string& path) {
  const std::string buffer = read_file(path);
  const BufferWalk walk = walk_buffer(buffer);
  if (output.json) {
    print_json(output, {{"kind", walk.kind},
                        {"size", buffer.size()},
                        {"damage", walk.damage},
                        {"damageOffset", walk.damageOffset}});
  } else if (walk.damage.empty()) {
    output.out << walk.kind << ", " << buffer.size() << " bytes, well-formed\n";
  }
  return verdict(walk, path);
}

}  // namespace msg_tarvel::tool
