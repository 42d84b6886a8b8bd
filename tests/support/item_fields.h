#pragma once

// What each item is made of: one table per class with its fields in declaration order, their types
// and the values of a default object. Everything that is done field by field rests on these tables:
// comparing, filling, laying out.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "msg-tarvel-common/item/Address.h"
#include "msg-tarvel-common/item/Content.h"
#include "msg-tarvel-common/item/Conversation.h"
#include "msg-tarvel-common/item/ListCondition.h"
#include "msg-tarvel-common/item/Message.h"
#include "msg-tarvel-common/item/NmsContentMeta.h"
#include "msg-tarvel-common/item/NmsMsgMeta.h"
#include "msg-tarvel-common/item/SimInfo.h"
#include "msg-tarvel-common/item/Thread.h"

namespace msg_tarvel::item_test {

using namespace std::string_literals;

enum class Kind {
  VALUE,
  /** Raw data or its size, which only make sense together. */
  PAYLOAD,
  /** Neither initialised, nor copied, moved or swapped. */
  LEFT_ALONE
};

template <Kind KIND, typename Item, typename Value>
struct Field {
  static constexpr Kind kind = KIND;

  const char* name;
  Value Item::*member;
  Value initial;
};

/** The type of `initial` must be exactly the member's: a table of another type does not compile. */
template <Kind KIND, typename Item, typename Value>
Field<KIND, Item, Value> field(const char* name, Value Item::*member, Value initial) {
  return {name, member, std::move(initial)};
}

#define FIELD(name, initial) field<Kind::VALUE>(#name, &Item::name, initial)
#define PAYLOAD_FIELD(name, initial) field<Kind::PAYLOAD>(#name, &Item::name, initial)
#define FIELD_LEFT_ALONE(name) field<Kind::LEFT_ALONE>(#name, &Item::name, {})

template <typename T>
struct Fields;

template <>
struct Fields<Address> {
  using Item = Address;
  static auto all() {
    return std::make_tuple(FIELD(convId, 0), FIELD(addressType, 0), FIELD(recipientType, 0),
                           FIELD(address, ""s), FIELD(userFlag, false));
  }
};

template <>
struct Fields<SimInfo> {
  using Item = SimInfo;
  static auto all() {
    return std::make_tuple(FIELD(id, 0), FIELD(simIndex, -1), FIELD(storageId, 0), FIELD(imsi, ""s),
                           FIELD(address, ""s));
  }
};

template <>
struct Fields<NmsMsgMeta> {
  using Item = NmsMsgMeta;
  static auto all() {
    return std::make_tuple(FIELD(msgId, 0), FIELD(objectId, ""s), FIELD(resourceURL, ""s),
                           FIELD(primaryId, ""s), FIELD(secondaryId, ""s),
                           FIELD(lastModSeq, int64_t{0}), FIELD(msgTime, int64_t{0}),
                           FIELD(BTCorrelated, 0), FIELD(MSSICorrelated, 0), FIELD(MSSISync, false),
                           FIELD(deleted, false), FIELD(downloadRequired, false));
  }
};

template <>
struct Fields<NmsContentMeta> {
  using Item = NmsContentMeta;
  static auto all() {
    return std::make_tuple(FIELD(metaValue, int64_t{0}), FIELD(metaText1, ""s),
                           FIELD(metaText2, ""s), FIELD(metaText3, ""s));
  }
};

template <>
struct Fields<Content> {
  using Item = Content;
  static auto all() {
    return std::make_tuple(
        FIELD(msgId, 0), FIELD(reservedInt1, 0), FIELD(reservedText1, ""s), FIELD(slideIdx, 0),
        FIELD(attachType, false), FIELD(hasFile, false), FIELD(contentType, ""s),
        FIELD(mediaType, 0), FIELD(status, 0), FIELD(textData, ""s), FIELD(filepath, ""s),
        FIELD(filename, ""s), FIELD(thumbpath, ""s), FIELD(reservedText2, ""s),
        FIELD(peer_filepath, ""s), FIELD(peer_copied_filepath, ""s),
        FIELD(nmsContentMeta, NmsContentMeta()), PAYLOAD_FIELD(rawDataSize, uint32_t{0}),
        PAYLOAD_FIELD(rawData, std::unique_ptr<unsigned char[]>()), FIELD(reservedInt2, 0));
  }
};

template <>
struct Fields<Message> {
  using Item = Message;
  static auto all() {
    return std::make_tuple(
        FIELD(msgId, 0), FIELD(convId, 0), FIELD(itemId, 0), FIELD(msgType, ""s), FIELD(auxInt1, 0),
        FIELD(storageFolder, 9999), FIELD(storageId, 1), FIELD(networkStatus, 16),
        FIELD(simIndex, -1), FIELD(displayTime, int64_t{0}), FIELD(auxTime, int64_t{0}),
        FIELD(read, false), FIELD(isSafeMessage, false), FIELD(isShareDialMessage, false),
        FIELD(attachedNum, 0), FIELD(auxInt2, -1), FIELD(auxInt3, 0), FIELD(stickerId, 0),
        FIELD(auxInt4, 0), FIELD(mainText, ""s), FIELD(textMessage, ""s), FIELD(auxText, ""s),
        FIELD(peerConvId, 0), FIELD(peerChatType, false), FIELD(auxFlag, false),
        FIELD(peerChatSessionId, ""s), FIELD(peerGroupChatSender, ""s),
        FIELD(addresses, std::vector<Address>()), FIELD(contents, std::vector<Content>()),
        FIELD(nmsMsgMeta, NmsMsgMeta()));
  }
};

template <>
struct Fields<ListCondition> {
  using Item = ListCondition;
  static auto all() {
    return std::make_tuple(FIELD(readFilter, -1), FIELD(ascending, false), FIELD(limit, 0),
                           FIELD(folderType, 9999), FIELD(storageId, 0), FIELD(msgType, ""s),
                           FIELD(convIds, std::vector<int32_t>()));
  }
};

template <>
struct Fields<Conversation> {
  using Item = Conversation;
  static auto all() {
    return std::make_tuple(
        FIELD(msgId, 0), FIELD(convId, 0), FIELD(itemId, 0), FIELD(msgType, ""s),
        FIELD(storageFolder, 9999), FIELD(storageId, 1), FIELD(networkStatus, 16),
        FIELD(simIndex, -1), FIELD(displayTime, int64_t{0}), FIELD(read, false),
        FIELD(isSafeMessage, false), FIELD(isShareDialMessage, false), FIELD(attachedNum, 0),
        FIELD(stickerId, 0), FIELD(peerChatType, false), FIELD(peerConvId, 0),
        FIELD(peerChatSessionId, ""s), FIELD(peerGroupChatSender, ""s), FIELD(mainText, ""s),
        FIELD(textMessage, ""s), FIELD(contents, std::vector<Content>()));
  }
};

template <>
struct Fields<Thread> {
  using Item = Thread;
  static auto all() {
    return std::make_tuple(
        FIELD(convId, 0), FIELD(peerConvId, 0), FIELD(unreadCnt, 0), FIELD(msgCnt, 0),
        FIELD(sending, false), FIELD(failed, false), FIELD(storageFolder, 9999),
        FIELD(networkStatus, 16), FIELD(simIndex, -1), FIELD(displayTime, int64_t{0}),
        FIELD(stickerId, 0), FIELD_LEFT_ALONE(lastMsgId), FIELD(msgType, ""s), FIELD(mainText, ""s),
        FIELD(msgText, ""s), FIELD(peerChatType, false), FIELD(peerChatState, false));
  }
};

#undef FIELD
#undef PAYLOAD_FIELD
#undef FIELD_LEFT_ALONE

template <typename T, typename = void>
inline constexpr bool IS_ITEM = false;
template <typename T>
inline constexpr bool IS_ITEM<T, std::void_t<decltype(Fields<T>::all())>> = true;

template <typename T>
inline constexpr bool IS_VECTOR = false;
template <typename T>
inline constexpr bool IS_VECTOR<std::vector<T>> = true;

/** Calls `visit` with every Field of `Item`. */
template <typename Item, typename Visit>
void for_each_field(Visit visit) {
  std::apply([&](const auto&... fields) { (visit(fields), ...); }, Fields<Item>::all());
}

/** Calls `visit` with every Field that is a value by itself. */
template <typename Item, typename Visit>
void for_each_value(Visit visit) {
  for_each_field<Item>([&](const auto& field) {
    if constexpr (std::decay_t<decltype(field)>::kind == Kind::VALUE) visit(field);
  });
}

// ---- Comparing ---------------------------------------------------------------------------------

template <typename Item>
std::string differences(const Item& a, const Item& b);

template <typename Value>
bool same(const Value& a, const Value& b) {
  if constexpr (IS_ITEM<Value>) {
    return differences(a, b).empty();
  } else if constexpr (IS_VECTOR<Value>) {
    using Element = typename Value::value_type;
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same<Element>);
  } else {
    return a == b;
  }
}

inline bool same_payload(const Content& a, const Content& b) {
  if (!a.rawData || !b.rawData) return !a.rawData && !b.rawData && a.rawDataSize == b.rawDataSize;
  return std::equal(a.rawData.get(), a.rawData.get() + a.rawDataSize, b.rawData.get(),
                    b.rawData.get() + b.rawDataSize);
}

/** The names of the fields in which two items differ, each with a blank behind it. */
template <typename Item>
std::string differences(const Item& a, const Item& b) {
  std::string names;
  for_each_value<Item>([&](const auto& field) {
    if (!same(a.*field.member, b.*field.member)) names += field.name + " "s;
  });
  if constexpr (std::is_same_v<Item, Content>) {
    if (!same_payload(a, b)) names += "payload ";
  }
  return names;
}

// ---- Filling -----------------------------------------------------------------------------------

inline void set_payload(Content& content, const std::string& bytes) {
  content.rawData = std::make_unique<unsigned char[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), content.rawData.get());
  content.rawDataSize = static_cast<uint32_t>(bytes.size());
}

/**
 * A value that is no field's default: numbers and texts (too long for a string's own buffer) tell
 * `seed`, items and vectors are filled throughout. Each seed gives the same value each time.
 */
template <typename Value>
Value sample(int seed) {
  if constexpr (IS_ITEM<Value>) {
    Value item;
    for_each_value<Value>(
        [&](const auto& field) { item.*field.member = sample<decltype(field.initial)>(++seed); });
    if constexpr (std::is_same_v<Value, Content>) set_payload(item, sample<std::string>(seed));
    return item;
  } else if constexpr (IS_VECTOR<Value>) {
    using Element = typename Value::value_type;
    return {sample<Element>(seed + 100), sample<Element>(seed + 200)};
  } else if constexpr (std::is_same_v<Value, std::string>) {
    return "a text of its own heap memory, number " + std::to_string(seed);
  } else if constexpr (std::is_same_v<Value, bool>) {
    return true;
  } else {
    return static_cast<Value>(sizeof(Value) > 4 ? 0x100000000LL + seed : seed);
  }
}

constexpr int SEED = 20000;
constexpr int OTHER_SEED = 30000;

}  // namespace msg_tarvel::item_test
