#pragma once

// What the serializer is expected to log.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/fake_platform.h"

namespace msg_tarvel::wire_test {

using Lines = std::vector<test_support::ExpectedLine>;

inline test_support::ExpectedLine serializer_error(const std::string& function,
                                                   const std::string& message) {
  return test_support::error_line("msg-tarvel-serializer.cpp", function, "[ERROR] " + message);
}
inline test_support::ExpectedLine serializer_info(const std::string& function,
                                                  const std::string& message) {
  return test_support::info_line("msg-tarvel-serializer.cpp", function, message);
}

inline test_support::ExpectedLine check_struct_size(const std::string& reader) {
  return serializer_info(reader, "Check struct size!!!");
}
inline test_support::ExpectedLine too_big(int megabytes) {
  return serializer_error("__deserialize_string",
                          "Too big to alloc memory (" + std::to_string(megabytes) + " MB)!!");
}
inline test_support::ExpectedLine null_element() {
  return serializer_error("msg_serialize_message", "tmp_item is NULL");
}
inline test_support::ExpectedLine no_memory(const std::string& function, int size,
                                            const std::string& reason) {
  return serializer_error(
      function, "calloc is failed!! buff_size:(" + std::to_string(size) + ")(" + reason + ")");
}
inline test_support::ExpectedLine failed(const std::string& function) {
  return serializer_error(function, "msg_serialize_msg_message_item is failed");
}
inline test_support::ExpectedLine different_size(const std::string& function, int size,
                                                 int written) {
  return serializer_info(function, "size is different. buff_size:" + std::to_string(size) +
                                       ", offset:" + std::to_string(written));
}

/** Whether the log since the last call holds exactly `expected`, in this order. */
inline ::testing::AssertionResult logged(const Lines& expected) {
  auto& platform = test_support::FakePlatform::get();
  const std::vector<test_support::LogLine> actual = platform.lines();
  platform.clearLines();
  if (std::equal(actual.begin(), actual.end(), expected.begin(), expected.end())) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "logged: " << ::testing::PrintToString(actual)
                                       << "\nexpected: " << ::testing::PrintToString(expected);
}

}  // namespace msg_tarvel::wire_test
