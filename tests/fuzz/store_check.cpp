// Checks a store into whose file the input was written: three bytes of an offset, one of a length,
// and so many bytes, again and again.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "check/check_copy.h"
#include "exit_status.h"
#include "fuzz_store.h"

namespace {

using namespace msg_tarvel;        // NOLINT(google-build-using-namespace): whose check it is
using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace)

constexpr const char* ROWS =
    "INSERT INTO msg_conversation_table (convId, unreadCnt, msgCnt, displayTime, mainText, "
    "lastMsgId) VALUES (1, 1, 2, 200, 'b', 2), (2, 0, 0, 0, '', 0);"
    "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
    "(1, 1, 1, '+14155550111'), (1, 1, 1, '4155550145'), (2, 1, 1, '4155550111');"
    "INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, displayTime, read, "
    "mainText, textMessage) VALUES (1, 1, 'sms', 1, 100, 1, 'a', 'a'), "
    "(2, 1, 'mms', 1, 200, 0, 'b', 'b'), (3, 9, 'sms', 3, 300, 1, 'c', 'c');"
    "INSERT INTO msg_mms_content_table (msgId, slideIdx, contentType, hasFile, filepath) VALUES "
    "(2, 1, 'image/png', 1, '/nowhere/2-1.png'), (7, 1, 'text/plain', 0, '');"
    "INSERT INTO msg_nms_meta_table (msgId, objectId) VALUES (1, 'o'), (8, 'p');";

/** The file of a store with these rows, and its bytes. */
struct StoreFile {
  StoreFile() : store(ROWS), path(db::get_db_filepath()) {
    db::init_db();
    db::deinit_db();
    std::ifstream file(path, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }

  const FuzzStore store;
  const std::string path;
  std::string bytes;
};

std::string changed(std::string bytes, const std::uint8_t* data, std::size_t size) {
  for (std::size_t at = 0; at + 4 < size;) {
    const std::size_t offset =
        std::size_t{data[at]} << 16 | std::size_t{data[at + 1]} << 8 | data[at + 2];
    const std::size_t length = std::min<std::size_t>(data[at + 3], size - at - 4);
    for (std::size_t i = 0; i < length; ++i) {
      bytes[(offset + i) % bytes.size()] = static_cast<char>(data[at + 4 + i]);
    }
    at += 4 + length;
  }
  return bytes;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const StoreFile store;
  store.store.beginInput();
  const std::string bytes = changed(store.bytes, data, size);
  std::ofstream(store.path, std::ios::binary).write(bytes.data(), static_cast<long>(bytes.size()));
  Findings findings(kinds_of({}));
  try {
    check_copy(store.path, findings);
  } catch (const Failure&) {
    // A file that cannot be copied.
  }
  FUZZ_ASSERT(size > 4 || !findings.empty());
  return 0;
}
