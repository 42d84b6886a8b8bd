#pragma once

// The shape of each record: the size of its image on the wire, its slots in order, which of them
// are strings, and where a record in memory has gaps between them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "msg-tarvel-common/msg-tarvel-serializer/msg_records.h"

namespace msg_tarvel::wire {

constexpr std::size_t SLOT_SIZE = 4;
constexpr std::size_t LENGTH_SIZE = 4;

/** What a build with wide pointers leaves empty where it aligns one: before it, or at the end. */
constexpr std::size_t GAP_SIZE = sizeof(void*) - SLOT_SIZE;

template <typename Record>
struct Shape;

template <>
struct Shape<msg_address_item_t> {
  using R = msg_address_item_t;
  static constexpr std::size_t IMAGE_SIZE = 20;
  static constexpr char* R::*STRINGS[] = {&R::text1};
  static constexpr std::array<std::size_t, 0> GAPS = {};
  template <typename Item, typename Visit>
  static void slots(Item& item, Visit&& visit) {
    visit(item.opaque0);
    visit(item.text1);
  }
};

template <>
struct Shape<msg_nms_content_meta_data_t> {
  using R = msg_nms_content_meta_data_t;
  static constexpr std::size_t IMAGE_SIZE = 24;
  static constexpr char* R::*STRINGS[] = {&R::text1, &R::text2, &R::text3};
  static constexpr std::array GAPS = {offsetof(R, opaque5) + sizeof(R::opaque5)};
  template <typename Item, typename Visit>
  static void slots(Item& item, Visit&& visit) {
    visit(item.opaque0);
    visit(item.text1);
    visit(item.text2);
    visit(item.text3);
    visit(item.opaque5);
  }
};

template <>
struct Shape<msg_nms_msg_meta_data_t> {
  using R = msg_nms_msg_meta_data_t;
  static constexpr std::size_t IMAGE_SIZE = 56;
  static constexpr char* R::*STRINGS[] = {&R::text1, &R::text2, &R::text3, &R::text4};
  static constexpr std::array GAPS = {offsetof(R, opaque0) + sizeof(R::opaque0),
                                      offsetof(R, opaque5) + sizeof(R::opaque5)};
  template <typename Item, typename Visit>
  static void slots(Item& item, Visit&& visit) {
    visit(item.opaque0);
    visit(item.text1);
    visit(item.text2);
    visit(item.text3);
    visit(item.text4);
    visit(item.opaque5);
  }
};

template <>
struct Shape<msg_content_item_t> {
  using R = msg_content_item_t;
  static constexpr std::size_t IMAGE_SIZE = 56;
  static constexpr char* R::*STRINGS[] = {&R::text1, &R::text2, &R::text3,
                                          &R::text4, &R::text5, &R::text6};
  static constexpr std::array GAPS = {offsetof(R, opaque12) + sizeof(R::opaque12)};
  template <typename Item, typename Visit>
  static void slots(Item& item, Visit&& visit) {
    visit(item.opaque0);
    visit(item.text1);
    visit(item.text2);
    visit(item.text3);
    visit(item.text4);
    visit(item.text5);
    visit(item.text6);
    visit(item.opaque12);
    visit(item.nmsContentMetaData);
  }
};

template <>
struct Shape<msg_message_item_t> {
  using R = msg_message_item_t;
  static constexpr std::size_t IMAGE_SIZE = 84;
  static constexpr char* R::*STRINGS[] = {&R::text1, &R::text2, &R::text3};
  template <typename Item, typename Visit>
  static void slots(Item& item, Visit&& visit) {
    visit(item.opaque0);
    visit(item.text1);
    visit(item.opaque3);
    visit(item.text2);
    visit(item.text3);
    visit(item.opaque17);
    visit(item.addressList);
    visit(item.contentList);
    visit(item.nmsMsgMetaData);
  }
};

template <typename Record>
constexpr std::size_t STRING_COUNT = std::size(Shape<Record>::STRINGS);

/** Marker, image, string count and the length of each string. */
template <typename Record>
constexpr std::size_t FIXED_SIZE =
    1 + Shape<Record>::IMAGE_SIZE + 1 + LENGTH_SIZE* STRING_COUNT<Record>;

// On a 32-bit build a record is its image; a 64-bit build has wider pointers in it.
template <typename Record>
constexpr bool IS_IMAGE = sizeof(void*) != SLOT_SIZE || sizeof(Record) == Shape<Record>::IMAGE_SIZE;
static_assert(IS_IMAGE<msg_address_item_t>, "20 bytes");
static_assert(IS_IMAGE<msg_nms_content_meta_data_t>, "24 bytes");
static_assert(IS_IMAGE<msg_nms_msg_meta_data_t>, "56 bytes");
static_assert(IS_IMAGE<msg_content_item_t>, "56 bytes");
static_assert(IS_IMAGE<msg_message_item_t>, "84 bytes");

#if !defined(__BYTE_ORDER__) || __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "The wire format is little-endian, and numbers are copied to it as they stand in memory."
#endif

}  // namespace msg_tarvel::wire
