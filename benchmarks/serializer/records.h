#pragma once

// The records as a peer sees them: numbers, texts, lists. Every peer carries every slot.

#include <msg-tarvel-common/msg-tarvel-serializer/msg_records.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

namespace msg_tarvel::bench {

/** How many numbers a record has, and which members are texts. */
template <typename Record>
struct Parts;

template <>
struct Parts<msg_address_item_t> {
  using R = msg_address_item_t;
  static constexpr std::size_t NUMBERS = 4;
  static constexpr char* R::*TEXTS[] = {&R::text1};
};
template <>
struct Parts<msg_nms_content_meta_data_t> {
  using R = msg_nms_content_meta_data_t;
  static constexpr std::size_t NUMBERS = 3;
  static constexpr char* R::*TEXTS[] = {&R::text1, &R::text2, &R::text3};
};
template <>
struct Parts<msg_nms_msg_meta_data_t> {
  using R = msg_nms_msg_meta_data_t;
  static constexpr std::size_t NUMBERS = 10;
  static constexpr char* R::*TEXTS[] = {&R::text1, &R::text2, &R::text3, &R::text4};
};
template <>
struct Parts<msg_content_item_t> {
  using R = msg_content_item_t;
  static constexpr std::size_t NUMBERS = 7;
  static constexpr char* R::*TEXTS[] = {&R::text1, &R::text2, &R::text3,
                                        &R::text4, &R::text5, &R::text6};
};
template <>
struct Parts<msg_message_item_t> {
  using R = msg_message_item_t;
  static constexpr std::size_t NUMBERS = 15;
  static constexpr char* R::*TEXTS[] = {&R::text1, &R::text2, &R::text3};
};

template <typename Record>
using Numbers = std::array<std::int32_t, Parts<Record>::NUMBERS>;
template <typename Record>
constexpr std::size_t TEXT_COUNT = std::size(Parts<Record>::TEXTS);

inline Numbers<msg_address_item_t> numbers_of(const msg_address_item_t& r) {
  return {r.opaque0[0], r.opaque0[1], r.opaque0[2], r.opaque0[3]};
}
inline Numbers<msg_nms_content_meta_data_t> numbers_of(const msg_nms_content_meta_data_t& r) {
  return {r.opaque0[0], r.opaque0[1], r.opaque5};
}
inline Numbers<msg_nms_msg_meta_data_t> numbers_of(const msg_nms_msg_meta_data_t& r) {
  Numbers<msg_nms_msg_meta_data_t> all = {r.opaque0};
  std::memcpy(&all[1], r.opaque5, sizeof r.opaque5);
  return all;
}
inline Numbers<msg_content_item_t> numbers_of(const msg_content_item_t& r) {
  Numbers<msg_content_item_t> all;
  std::memcpy(all.data(), r.opaque0, sizeof r.opaque0);
  all.back() = r.opaque12;
  return all;
}
inline Numbers<msg_message_item_t> numbers_of(const msg_message_item_t& r) {
  Numbers<msg_message_item_t> all = {r.opaque0[0], r.opaque0[1]};
  std::memcpy(&all[2], r.opaque3, sizeof r.opaque3);
  all.back() = r.opaque17;
  return all;
}

inline void set_numbers(msg_address_item_t& r, const std::int32_t* all) {
  std::memcpy(r.opaque0, all, sizeof r.opaque0);
}
inline void set_numbers(msg_nms_content_meta_data_t& r, const std::int32_t* all) {
  std::memcpy(r.opaque0, all, sizeof r.opaque0);
  r.opaque5 = all[2];
}
inline void set_numbers(msg_nms_msg_meta_data_t& r, const std::int32_t* all) {
  r.opaque0 = all[0];
  std::memcpy(r.opaque5, all + 1, sizeof r.opaque5);
}
inline void set_numbers(msg_content_item_t& r, const std::int32_t* all) {
  std::memcpy(r.opaque0, all, sizeof r.opaque0);
  r.opaque12 = all[6];
}
inline void set_numbers(msg_message_item_t& r, const std::int32_t* all) {
  std::memcpy(r.opaque0, all, sizeof r.opaque0);
  std::memcpy(r.opaque3, all + 2, sizeof r.opaque3);
  r.opaque17 = all[14];
}
/** From bytes at any place; false when they are not as many as the record has. */
template <typename Record>
bool set_numbers_from(Record& record, const void* bytes, std::size_t size) {
  Numbers<Record> all;
  if (size != sizeof all) return false;
  std::memcpy(all.data(), bytes, sizeof all);
  set_numbers(record, all.data());
  return true;
}

inline const char* text_or_empty(const char* text) { return text ? text : ""; }

/** A record that the caller writes whole. */
template <typename Record>
Record* new_record() {
  void* const place = std::malloc(sizeof(Record));
  if (!place) throw std::bad_alloc();
  return static_cast<Record*>(place);
}

/** Null for an empty text, as the library reads it. */
inline char* new_text(const char* text, std::size_t size) {
  if (size == 0) return nullptr;
  auto* const copy = static_cast<char*>(std::malloc(size + 1));
  if (!copy) throw std::bad_alloc();
  std::memcpy(copy, text, size);
  copy[size] = '\0';
  return copy;
}

template <typename Record, typename Visit>
void for_each(const GSList* list, Visit visit) {
  for (; list; list = list->next) visit(*static_cast<const Record*>(list->data));
}

/** Equal in every slot, with an empty text for a null one. */
bool is_same(const msg_message_item_t& a, const msg_message_item_t& b);

/** Frees all that `message` leads to. */
void release_records(msg_message_item_t& message);

}  // namespace msg_tarvel::bench
