// Buffers between two builds: one writes them into a folder, the other reads them and compares each
// byte by byte with what it writes itself. The pointer slots, which say where the writer's records
// were, are set to 0 on both sides before.
//   exchange write FOLDER
//   exchange verify FOLDER

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "support/golden_values.h"

namespace msg_tarvel::wire_test {

namespace {

/** One buffer: its file, what this build writes, and whether bytes are read as what is meant. */
struct Kind {
  std::string file;
  std::string written;
  std::function<bool(const std::string&)> isReadAsMeant;
};

Kind message_kind(const std::string& file, const MessageValues& values) {
  Arena arena;
  return {file, Buffer(arena.message(values)).bytes(), [values](const std::string& bytes) {
            return msg_check_message(bytes.data(), bytes.size()) == bytes.size() &&
                   Received(bytes).tree() == normal(values);
          }};
}

Kind metadata_kind(const std::string& file, const Values& values) {
  Arena arena;
  return {file, Buffer(arena.record<msg_nms_msg_meta_data_t>(values)).bytes(),
          [values](const std::string& bytes) {
            return msg_check_nms_msg_meta(bytes.data(), bytes.size()) == bytes.size() &&
                   values_of(ReceivedMeta(bytes).item()) == normal(values);
          }};
}

/** As many addresses and contents as travel. */
MessageValues longest_message() {
  MessageValues values = full_message();
  values.addresses.resize(255, values.addresses[0]);
  values.contents.resize(255, values.contents[0]);
  return values;
}

std::vector<Kind> all_kinds() {
  std::vector<Kind> kinds;
  for (const GoldenMessage& golden : golden_messages()) {
    kinds.push_back(message_kind(golden.file, golden.values));
  }
  kinds.push_back(message_kind("message-longest.bin", longest_message()));
  kinds.push_back(metadata_kind("metadata.bin", golden_metadata()));
  return kinds;
}

bool write_file(const Kind& kind, const std::string& path) {
  return static_cast<bool>(std::ofstream(path, std::ios::binary) << kind.written << std::flush);
}

bool verify_file(const Kind& kind, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  return !bytes.empty() && kind.isReadAsMeant(bytes) &&
         without_pointers(bytes) == without_pointers(kind.written);
}

/** Writes or verifies every buffer in `folder`; the exit status. */
int exchange(const std::string& folder, bool isWriting) {
  for (const Kind& kind : all_kinds()) {
    const std::string path = folder + "/" + kind.file;
    if (!(isWriting ? write_file : verify_file)(kind, path)) {
      std::fprintf(stderr, "exchange: %s: %s\n", path.c_str(),
                   isWriting ? "cannot be written" : "is not what this build writes");
      return 1;
    }
  }
  std::printf("%zu buffers %s by a %zu-bit program\n", all_kinds().size(),
              isWriting ? "written" : "read and compared", 8 * sizeof(void*));
  return 0;
}

}  // namespace

}  // namespace msg_tarvel::wire_test

int main(int argc, char** argv) {
  const bool isWriting = argc == 3 && std::strcmp(argv[1], "write") == 0;
  if (!isWriting && !(argc == 3 && std::strcmp(argv[1], "verify") == 0)) {
    std::fprintf(stderr, "usage: exchange write|verify FOLDER\n");
    return 2;
  }
  return msg_tarvel::wire_test::exchange(argv[2], isWriting);
}
