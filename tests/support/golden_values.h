#pragma once

// What the golden buffers say.

#include <optional>
#include <vector>

#include "support/samples.h"

namespace msg_tarvel::wire_test {

inline MessageValues golden_full() {
  MessageValues values;
  values.own = sample(MESSAGE_COUNTS, 0x0a000000,
                      {Text("mms"), Text("Subject line"), Text("Body of the message")});
  values.addresses = {sample(ADDRESS_COUNTS, 0x0b000000, {Text("+15550100")}),
                      sample(ADDRESS_COUNTS, 0x0b000100)};
  values.contents = {
      {sample(CONTENT_COUNTS, 0x0c000000,
              {Text("image/jpeg"), Text("<cid1>"), Text("photo.jpg"), Text("/data/photo.jpg"),
               Text("/data/thumb.jpg"), Text("")}),
       sample(CONTENT_META_COUNTS, 0x0d000000, {Text("object-1"), Text(""), Text("part-1")})},
      {sample(CONTENT_COUNTS, 0x0c000100, {Text("text/plain")}),
       sample(CONTENT_META_COUNTS, 0x0d000100, {std::nullopt, Text("second")})},
      {sample(CONTENT_COUNTS, -8), std::nullopt},
  };
  values.meta = sample(MESSAGE_META_COUNTS, 0x0e000000,
                       {Text("correlation"), Text("object"), Text("resource"), Text("path")});
  return values;
}

inline MessageValues golden_address() {
  MessageValues values;
  values.own = sample(MESSAGE_COUNTS, 1, {std::nullopt, std::nullopt, Text("Hi")});
  values.addresses = {sample(ADDRESS_COUNTS, 101, {Text("+15550100")})};
  return values;
}

inline MessageValues golden_utf8() {
  MessageValues values;
  values.own =
      sample(MESSAGE_COUNTS, -1000, {Text("Grüße"), Text("你好"), Text("👋🏽 مرحبا")});
  values.addresses = {sample(ADDRESS_COUNTS, 7, {Text("Ünal")})};
  values.contents = {{sample(CONTENT_COUNTS, 70, {Text("text/plain"), Text("фото.txt")}), {}}};
  return values;
}

inline Values golden_metadata() {
  return sample(MESSAGE_META_COUNTS, 0x0e000000,
                {Text("correlation"), Text(""), std::nullopt, Text("größer")});
}

struct GoldenMessage {
  const char* file;
  MessageValues values;
};

inline std::vector<GoldenMessage> golden_messages() {
  return {{"message-full.bin", golden_full()},
          {"message-empty.bin", empty_message()},
          {"message-address.bin", golden_address()},
          {"message-utf8.bin", golden_utf8()}};
}

}  // namespace msg_tarvel::wire_test
