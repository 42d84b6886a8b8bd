#pragma once

// The serializer's internal functions under one name for all records.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "msg-tarvel-serializer/msg-tarvel-serializer_internal.h"
#include "support/records.h"

namespace msg_tarvel::wire_test {

template <typename Record>
struct Inner;

template <>
struct Inner<msg_address_item_t> {
  static constexpr auto calculate = &__calculate_msg_address_item;
  static constexpr auto serialize = &__serialize_msg_address_item;
  static constexpr auto deserialize = &__deserialize_msg_address_item;
  static constexpr const char* READER = "__deserialize_msg_address_item";
  static constexpr int EMPTY_SIZE = 26;
  static constexpr Counts COUNTS = ADDRESS_COUNTS;
};

template <>
struct Inner<msg_nms_content_meta_data_t> {
  static constexpr auto calculate = &__calculate_nms_content_meta_data_item;
  static constexpr auto serialize = &__serialize_nms_content_meta_data_item;
  static constexpr auto deserialize = &__deserialize_nms_content_meta_data_item;
  static constexpr const char* READER = "__deserialize_nms_content_meta_data_item";
  static constexpr int EMPTY_SIZE = 38;
  static constexpr Counts COUNTS = CONTENT_META_COUNTS;
};

template <>
struct Inner<msg_nms_msg_meta_data_t> {
  static constexpr auto calculate = &__calculate_nms_msg_meta_data_item;
  static constexpr auto serialize = &__serialize_nms_msg_meta_data_item;
  static constexpr auto deserialize = &__deserialize_nms_msg_meta_data_item;
  static constexpr const char* READER = "__deserialize_nms_msg_meta_data_item";
  static constexpr int EMPTY_SIZE = 74;
  static constexpr Counts COUNTS = MESSAGE_META_COUNTS;
};

template <>
struct Inner<msg_content_item_t> {
  static constexpr auto calculate = &__calculate_msg_content_item;
  static constexpr auto serialize = &__serialize_msg_content_item;
  static constexpr auto deserialize = &__deserialize_msg_content_item;
  static constexpr const char* READER = "__deserialize_msg_content_item";
  static constexpr int EMPTY_SIZE = 83;
  static constexpr Counts COUNTS = CONTENT_COUNTS;
};

/** The records that are blocks inside a message. */
using InnerRecords = ::testing::Types<msg_address_item_t, msg_nms_content_meta_data_t,
                                      msg_nms_msg_meta_data_t, msg_content_item_t>;

/** What is written into a block of exactly the calculated size; both functions must agree on it. */
template <typename Record>
std::string written(const Record& item) {
  const int size = Inner<Record>::calculate(&item);
  std::vector<char> room(static_cast<std::size_t>(size));
  EXPECT_EQ(Inner<Record>::serialize(&item, room.data()), size);
  return {room.data(), room.size()};
}

}  // namespace msg_tarvel::wire_test
