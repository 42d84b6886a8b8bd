#pragma once

// What the serializer is expected to log.

#include <string>

#include "support/expected_log.h"

namespace msg_tarvel::wire_test {

inline ExpectedLine serializer_error(const std::string& function, const std::string& message) {
  return error_line("msg-tarvel-serializer.cpp", function, "[ERROR] " + message);
}
inline ExpectedLine serializer_info(const std::string& function, const std::string& message) {
  return info_line("msg-tarvel-serializer.cpp", function, message);
}

inline ExpectedLine check_struct_size(const std::string& reader) {
  return serializer_info(reader, "Check struct size!!!");
}
inline ExpectedLine too_big(int megabytes) {
  return serializer_error("__deserialize_string",
                          "Too big to alloc memory (" + std::to_string(megabytes) + " MB)!!");
}
inline ExpectedLine null_element() {
  return serializer_error("msg_serialize_message", "tmp_item is NULL");
}
inline ExpectedLine no_memory(const std::string& function, int size, const std::string& reason) {
  return serializer_error(
      function, "calloc is failed!! buff_size:(" + std::to_string(size) + ")(" + reason + ")");
}
inline ExpectedLine failed(const std::string& function) {
  return serializer_error(function, "msg_serialize_msg_message_item is failed");
}
inline ExpectedLine different_size(const std::string& function, int size, int written) {
  return serializer_info(function, "size is different. buff_size:" + std::to_string(size) +
                                       ", offset:" + std::to_string(written));
}

}  // namespace msg_tarvel::wire_test
