#include "support/records.h"

#include <cstdlib>
#include <cstring>
#include <tuple>

namespace msg_tarvel::wire_test {

namespace {

void add(std::vector<std::int32_t*>& slots, std::int32_t& slot) { slots.push_back(&slot); }
template <std::size_t Count>
void add(std::vector<std::int32_t*>& slots, std::int32_t (&run)[Count]) {
  for (std::int32_t& slot : run) slots.push_back(&slot);
}

template <typename... Slots>
std::vector<std::int32_t*> slots(Slots&... members) {
  std::vector<std::int32_t*> all;
  (add(all, members), ...);
  return all;
}

template <typename Record>
std::vector<Record*> elements(GSList* list) {
  std::vector<Record*> all;
  for (; list; list = list->next) all.push_back(static_cast<Record*>(list->data));
  return all;
}

template <typename Record>
void release_with_texts(Record* item) {
  if (!item) return;
  for (char** const text : fields(*item).texts) std::free(*text);
  std::free(item);
}

/** A copy in a block of exactly its size, so that a sanitizer sees a step beyond it. */
std::unique_ptr<char[]> exact_copy(const std::string& buffer) {
  std::unique_ptr<char[]> copy(new char[buffer.size()]);
  std::memcpy(copy.get(), buffer.data(), buffer.size());
  return copy;
}

/** One kind of block: its image, which of the slots are pointers, and what follows the strings. */
struct BlockKind {
  std::size_t image;
  std::vector<std::size_t> pointers;
};
const BlockKind ADDRESS = {20, {4}};
const BlockKind CONTENT_META = {24, {2, 3, 4}};
const BlockKind MESSAGE_META = {56, {1, 2, 3, 4}};
const BlockKind CONTENT = {56, {6, 7, 8, 9, 10, 11, 13}};
const BlockKind MESSAGE = {84, {2, 15, 16, 18, 19, 20}};

class PointerEraser {
 public:
  explicit PointerEraser(std::string& buffer) : _buffer(buffer) {}

  void block(const BlockKind& kind) {
    ++_at;
    for (const std::size_t slot : kind.pointers) std::memset(&_buffer.at(_at + 4 * slot), 0, 4);
    _at += kind.image;
    for (unsigned int strings = byte(); strings > 0; --strings) {
      std::uint32_t length = 0;
      for (int i = 0; i < 4; ++i) length |= static_cast<std::uint32_t>(byte()) << (8 * i);
      _at += length;
    }
  }
  void content() {
    block(CONTENT);
    if (byte() != 0) block(CONTENT_META);
  }
  void message() {
    block(MESSAGE);
    for (unsigned int left = byte(); left > 0; --left) block(ADDRESS);
    for (unsigned int left = byte(); left > 0; --left) content();
    if (byte() != 0) block(MESSAGE_META);
  }

 private:
  unsigned int byte() { return static_cast<unsigned char>(_buffer.at(_at++)); }

  std::string& _buffer;
  std::size_t _at = 0;
};

}  // namespace

bool operator==(const Values& a, const Values& b) {
  return std::tie(a.opaque, a.texts) == std::tie(b.opaque, b.texts);
}
bool operator==(const ContentValues& a, const ContentValues& b) {
  return std::tie(a.own, a.meta) == std::tie(b.own, b.meta);
}
bool operator==(const MessageValues& a, const MessageValues& b) {
  return std::tie(a.own, a.addresses, a.contents, a.meta) ==
         std::tie(b.own, b.addresses, b.contents, b.meta);
}

std::ostream& operator<<(std::ostream& out, const Values& values) {
  out << "{";
  for (const std::int32_t number : values.opaque) out << number << " ";
  for (const Text& text : values.texts) out << (text ? "\"" + *text + "\" " : "null ");
  return out << "}";
}
std::ostream& operator<<(std::ostream& out, const ContentValues& values) {
  out << "content " << values.own;
  return values.meta ? out << " metadata " << *values.meta : out;
}
std::ostream& operator<<(std::ostream& out, const MessageValues& values) {
  out << "message " << values.own;
  for (const Values& address : values.addresses) out << "\n  address " << address;
  for (const ContentValues& content : values.contents) out << "\n  " << content;
  return values.meta ? out << "\n  metadata " << *values.meta : out;
}

Values normal(Values values) {
  for (Text& text : values.texts) {
    if (text && text->empty()) text.reset();
  }
  return values;
}

MessageValues normal(MessageValues values) {
  values.own = normal(values.own);
  for (Values& address : values.addresses) address = normal(address);
  for (ContentValues& content : values.contents) {
    content.own = normal(content.own);
    if (content.meta) content.meta = normal(*content.meta);
  }
  if (values.meta) values.meta = normal(*values.meta);
  return values;
}

Fields fields(msg_address_item_t& item) { return {slots(item.opaque0), {&item.text1}}; }
Fields fields(msg_nms_content_meta_data_t& item) {
  return {slots(item.opaque0, item.opaque5), {&item.text1, &item.text2, &item.text3}};
}
Fields fields(msg_nms_msg_meta_data_t& item) {
  return {slots(item.opaque0, item.opaque5), {&item.text1, &item.text2, &item.text3, &item.text4}};
}
Fields fields(msg_content_item_t& item) {
  return {slots(item.opaque0, item.opaque12),
          {&item.text1, &item.text2, &item.text3, &item.text4, &item.text5, &item.text6}};
}
Fields fields(msg_message_item_t& item) {
  return {slots(item.opaque0, item.opaque3, item.opaque17),
          {&item.text1, &item.text2, &item.text3}};
}

MessageValues tree_of(const msg_message_item_t& item) {
  MessageValues tree;
  tree.own = values_of(item);
  for (const auto* address : elements<msg_address_item_t>(item.addressList)) {
    tree.addresses.push_back(values_of(*address));
  }
  for (const auto* content : elements<msg_content_item_t>(item.contentList)) {
    tree.contents.push_back({values_of(*content), std::nullopt});
    const auto* const meta = content->nmsContentMetaData;
    if (meta) tree.contents.back().meta = values_of(*meta);
  }
  if (item.nmsMsgMetaData) tree.meta = values_of(*item.nmsMsgMetaData);
  return tree;
}

char* Arena::text(const Text& value) {
  if (!value) return nullptr;
  const std::shared_ptr<char[]> copy(new char[value->size() + 1]);
  std::memcpy(copy.get(), value->c_str(), value->size() + 1);
  _kept.push_back(copy);
  return copy.get();
}

GSList* Arena::list(const std::vector<void*>& elements) {
  GSList* list = nullptr;
  for (auto element = elements.rbegin(); element != elements.rend(); ++element) {
    list = g_slist_prepend(list, *element);
  }
  if (list) _kept.emplace_back(list, [](GSList* nodes) { g_slist_free(nodes); });
  return list;
}

msg_message_item_t* Arena::message(const MessageValues& values) {
  auto* const item = record<msg_message_item_t>(values.own);
  std::vector<void*> addresses;
  for (const Values& address : values.addresses) {
    addresses.push_back(record<msg_address_item_t>(address));
  }
  std::vector<void*> contents;
  for (const ContentValues& value : values.contents) {
    auto* const content = record<msg_content_item_t>(value.own);
    if (value.meta) content->nmsContentMetaData = record<msg_nms_content_meta_data_t>(*value.meta);
    contents.push_back(content);
  }
  item->addressList = list(addresses);
  item->contentList = list(contents);
  if (values.meta) item->nmsMsgMetaData = record<msg_nms_msg_meta_data_t>(*values.meta);
  return item;
}

Buffer::~Buffer() { std::free(_data); }

void release(msg_message_item_t& item) {
  for (auto* address : elements<msg_address_item_t>(item.addressList)) release_with_texts(address);
  for (auto* content : elements<msg_content_item_t>(item.contentList)) {
    if (content) release_with_texts(content->nmsContentMetaData);
    release_with_texts(content);
  }
  g_slist_free(item.addressList);
  g_slist_free(item.contentList);
  release_with_texts(item.nmsMsgMetaData);
  for (char** const text : fields(item).texts) std::free(*text);
  item = {};
}

Received::Received(const std::string& buffer) {
  msg_deserialize_message(exact_copy(buffer).get(), &_item);

  // Read without pointers, the buffer gives the same but for a null in place of what was kept.
  msg_message_item_t plain{};
  msg_deserialize_message(without_pointers(buffer).data(), &plain);
  const GSList* plainNode = plain.contentList;
  for (const auto* content : elements<msg_content_item_t>(_item.contentList)) {
    const auto* const plainMeta =
        static_cast<const msg_content_item_t*>(plainNode->data)->nmsContentMetaData;
    if (plainMeta && !plainMeta->text2) content->nmsContentMetaData->text2 = nullptr;
    plainNode = plainNode->next;
  }
  release(plain);
}

ReceivedMeta::ReceivedMeta(const std::string& buffer) {
  msg_deserialize_nms_msg_meta(exact_copy(buffer).get(), &_item);
}

ReceivedMeta::~ReceivedMeta() {
  for (char** const text : fields(_item).texts) std::free(*text);
}

std::string without_pointers(std::string buffer) {
  PointerEraser eraser(buffer);
  if (!buffer.empty() && buffer[0] == static_cast<char>(MESSAGE.image)) {
    eraser.message();
  } else {
    eraser.block(MESSAGE_META);
  }
  return buffer;
}

}  // namespace msg_tarvel::wire_test
