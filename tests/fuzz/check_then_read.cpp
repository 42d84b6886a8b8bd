// What a receiver does with a buffer of unknown origin: check it, and read it if it is accepted.

#include <string>

#include "fuzz_target.h"
#include "support/records.h"

namespace msg_tarvel::wire_test {

namespace {

template <typename Record>
void expect_same_when_written_again(const std::string& buffer, const Record& item) {
  const Buffer again(&item);
  FUZZ_ASSERT(again.size() > 0);
  const auto size = static_cast<std::size_t>(again.size());
  // Shorter where a text has a zero byte in it: there it ends.
  FUZZ_ASSERT(size <= buffer.size());
  if (size == buffer.size()) {
    FUZZ_ASSERT(without_pointers(again.bytes()) == without_pointers(buffer));
  }
}

void read_message(const std::string& buffer) {
  FUZZ_ASSERT(msg_check_message(buffer.data(), buffer.size()) == buffer.size());
  FUZZ_ASSERT(msg_check_message(buffer.data(), buffer.size() - 1) == 0);
  const Received received(buffer);
  expect_same_when_written_again(buffer, received.item());
}

void read_meta(const std::string& buffer) {
  FUZZ_ASSERT(msg_check_nms_msg_meta(buffer.data(), buffer.size()) == buffer.size());
  FUZZ_ASSERT(msg_check_nms_msg_meta(buffer.data(), buffer.size() - 1) == 0);
  const ReceivedMeta received(buffer);
  expect_same_when_written_again(buffer, received.item());
}

}  // namespace

}  // namespace msg_tarvel::wire_test

/** A reader that made nothing itself and believes nothing: read, and release at once. */
static void read_and_release(const char* bytes) {
  msg_message_item_t item;
  msg_deserialize_message(bytes, &item);
  msg_release_message(&item);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto* const bytes = reinterpret_cast<const char*>(data);
  const std::size_t message = msg_check_message(bytes, size);
  FUZZ_ASSERT(message <= size);
  if (message > 0) {
    msg_tarvel::wire_test::read_message({bytes, message});
    read_and_release(bytes);
  }
  const std::size_t meta = msg_check_nms_msg_meta(bytes, size);
  FUZZ_ASSERT(meta <= size);
  if (meta > 0) msg_tarvel::wire_test::read_meta({bytes, meta});
  return 0;
}
