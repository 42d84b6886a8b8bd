#include "helpers/record_mapping.h"

#include <msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace msg_tarvel::helpers {

namespace {

// One list of fields for each record. A number of 64 bits takes two slots, the low half first; a
// flag is one bit of its slot. `number` and `text` find the slots that `fields` names.

template <typename Record>
struct Mapping;

template <>
struct Mapping<msg_message_item_t> {
  using Item = Message;

  template <typename AnyMessage, typename Visitor>
  static void fields(AnyMessage& item, Visitor& visit) {
    visit.number(0, "msgId", item.msgId);
    visit.number(1, "convId", item.convId);
    visit.text(2, "msgType", item.msgType);
    visit.number(3, "itemId", item.itemId);
    visit.number(4, "storageFolder", item.storageFolder);
    visit.number(5, "storageId", item.storageId);
    visit.number(6, "networkStatus", item.networkStatus);
    visit.number(7, "simIndex", item.simIndex);
    visit.number(8, "displayTime", item.displayTime);
    visit.flag(10, 0, "read", item.read);
    visit.flag(10, 1, "isSafeMessage", item.isSafeMessage);
    visit.flag(10, 2, "isShareDialMessage", item.isShareDialMessage);
    visit.flag(10, 3, "peerChatType", item.peerChatType);
    visit.number(11, "attachedNum", item.attachedNum);
    visit.number(12, "stickerId", item.stickerId);
    visit.number(13, "peerConvId", item.peerConvId);
    visit.text(15, "mainText", item.mainText);
    visit.text(16, "textMessage", item.textMessage);
    visit.pointer(18, "addresses");
    visit.pointer(19, "contents");
    visit.pointer(20, "nmsMsgMeta");
  }

  static std::int32_t& number(msg_message_item_t& record, int slot) {
    return slot < 2 ? record.opaque0[slot] : record.opaque3[slot - 3];
  }
  static char*& text(msg_message_item_t& record, int slot) {
    if (slot == 2) return record.text1;
    return slot == 15 ? record.text2 : record.text3;
  }
};

template <>
struct Mapping<msg_address_item_t> {
  using Item = Address;

  template <typename AnyAddress, typename Visitor>
  static void fields(AnyAddress& item, Visitor& visit) {
    visit.number(0, "convId", item.convId);
    visit.number(1, "addressType", item.addressType);
    visit.number(2, "recipientType", item.recipientType);
    visit.flag(3, 0, "userFlag", item.userFlag);
    visit.text(4, "address", item.address);
  }

  static std::int32_t& number(msg_address_item_t& record, int slot) { return record.opaque0[slot]; }
  static char*& text(msg_address_item_t& record, int /*slot*/) { return record.text1; }
};

template <>
struct Mapping<msg_content_item_t> {
  using Item = Content;

  template <typename AnyContent, typename Visitor>
  static void fields(AnyContent& item, Visitor& visit) {
    visit.number(0, "msgId", item.msgId);
    visit.number(1, "slideIdx", item.slideIdx);
    visit.number(2, "mediaType", item.mediaType);
    visit.number(3, "status", item.status);
    visit.flag(4, 0, "attachType", item.attachType);
    visit.flag(4, 1, "hasFile", item.hasFile);
    visit.text(6, "contentType", item.contentType);
    visit.text(7, "textData", item.textData);
    visit.text(8, "filepath", item.filepath);
    visit.text(9, "filename", item.filename);
    visit.text(10, "thumbpath", item.thumbpath);
    visit.text(11, "peer_filepath", item.peer_filepath);
    visit.pointer(13, "nmsContentMeta");
  }

  static std::int32_t& number(msg_content_item_t& record, int slot) { return record.opaque0[slot]; }
  static char*& text(msg_content_item_t& record, int slot) {
    char** const texts[] = {&record.text1, &record.text2, &record.text3,
                            &record.text4, &record.text5, &record.text6};
    return *texts[slot - 6];
  }
};

template <>
struct Mapping<msg_nms_msg_meta_data_t> {
  using Item = NmsMsgMeta;

  template <typename AnyMeta, typename Visitor>
  static void fields(AnyMeta& item, Visitor& visit) {
    visit.number(0, "msgId", item.msgId);
    visit.text(1, "objectId", item.objectId);
    visit.text(2, "resourceURL", item.resourceURL);
    visit.text(3, "primaryId", item.primaryId);
    visit.text(4, "secondaryId", item.secondaryId);
    visit.number(5, "lastModSeq", item.lastModSeq);
    visit.number(7, "msgTime", item.msgTime);
    visit.number(9, "BTCorrelated", item.BTCorrelated);
    visit.number(10, "MSSICorrelated", item.MSSICorrelated);
    visit.flag(11, 0, "MSSISync", item.MSSISync);
    visit.flag(12, 0, "deleted", item.deleted);
    visit.flag(13, 0, "downloadRequired", item.downloadRequired);
  }

  static std::int32_t& number(msg_nms_msg_meta_data_t& record, int slot) {
    return slot == 0 ? record.opaque0 : record.opaque5[slot - 5];
  }
  static char*& text(msg_nms_msg_meta_data_t& record, int slot) {
    char** const texts[] = {&record.text1, &record.text2, &record.text3, &record.text4};
    return *texts[slot - 1];
  }
};

template <>
struct Mapping<msg_nms_content_meta_data_t> {
  using Item = NmsContentMeta;

  template <typename AnyMeta, typename Visitor>
  static void fields(AnyMeta& item, Visitor& visit) {
    visit.number(0, "metaValue", item.metaValue);
    visit.text(2, "metaText1", item.metaText1);
    visit.text(3, "metaText2", item.metaText2);
    visit.text(4, "metaText3", item.metaText3);
  }

  static std::int32_t& number(msg_nms_content_meta_data_t& record, int slot) {
    return record.opaque0[slot];
  }
  static char*& text(msg_nms_content_meta_data_t& record, int slot) {
    char** const texts[] = {&record.text1, &record.text2, &record.text3};
    return *texts[slot - 2];
  }
};

constexpr int HALF = 32;

/** Copies fields into a zero-filled record. */
template <typename Record>
class RecordWriter {
 public:
  explicit RecordWriter(Record& record) : _record(record) {}

  void number(int slot, const char* /*field*/, std::int32_t value) { _slot(slot) = value; }
  void number(int slot, const char* /*field*/, std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    _slot(slot) = static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
    _slot(slot + 1) = static_cast<std::int32_t>(static_cast<std::uint32_t>(bits >> HALF));
  }
  void flag(int slot, int bit, const char* /*field*/, bool value) {
    if (value) _slot(slot) |= 1 << bit;
  }
  /** An empty text is a null one, so its slot tells a receiver nothing false. */
  void text(int slot, const char* /*field*/, const std::string& value) {
    if (value.empty()) return;
    char* const copy = strdup(value.c_str());
    if (!copy) throw std::bad_alloc();
    Mapping<Record>::text(_record, slot) = copy;
  }
  void pointer(int /*slot*/, const char* /*field*/) {}

 private:
  std::int32_t& _slot(int slot) { return Mapping<Record>::number(_record, slot); }

  Record& _record;
};

/** Copies a record's slots into fields. */
template <typename Record>
class RecordReader {
 public:
  explicit RecordReader(const Record& record) : _record(record) {}

  void number(int slot, const char* /*field*/, std::int32_t& value) { value = _slot(slot); }
  void number(int slot, const char* /*field*/, std::int64_t& value) {
    const std::uint64_t low = static_cast<std::uint32_t>(_slot(slot));
    const std::uint64_t high = static_cast<std::uint32_t>(_slot(slot + 1));
    value = static_cast<std::int64_t>(high << HALF | low);
  }
  void flag(int slot, int bit, const char* /*field*/, bool& value) {
    value = (_slot(slot) >> bit & 1) != 0;
  }
  void text(int slot, const char* /*field*/, std::string& value) {
    const char* const stored = Mapping<Record>::text(_record, slot);
    if (stored) value = stored;
  }
  void pointer(int /*slot*/, const char* /*field*/) {}

 private:
  std::int32_t _slot(int slot) { return Mapping<Record>::number(_record, slot); }

  /** A copy of the pointers, not of what they point to. */
  Record _record;
};

/** Collects what one slot carries. */
class SlotNames {
 public:
  explicit SlotNames(int slot) : _wanted(slot) {}

  const std::string& names() const { return _names; }

  void number(int slot, const std::string& field, std::int32_t /*value*/) { _add(slot, field); }
  void number(int slot, const std::string& field, std::int64_t /*value*/) {
    _add(slot, field + ", low half");
    _add(slot + 1, field + ", high half");
  }
  void flag(int slot, int bit, const std::string& field, bool /*value*/) {
    _add(slot, field + " (bit " + std::to_string(bit) + ")");
  }
  void text(int slot, const std::string& field, const std::string& /*value*/) { _add(slot, field); }
  void pointer(int slot, const std::string& field) { _add(slot, field); }

 private:
  void _add(int slot, const std::string& name) {
    if (slot == _wanted) _names += (_names.empty() ? "" : ", ") + name;
  }

  int _wanted;
  std::string _names;
};

template <typename Record>
std::string names_of(int slot) {
  const typename Mapping<Record>::Item item;
  SlotNames names(slot);
  Mapping<Record>::fields(item, names);
  return names.names();
}

template <typename Record>
Record* new_record() {
  auto* const record = static_cast<Record*>(std::calloc(1, sizeof(Record)));
  if (!record) throw std::bad_alloc();
  return record;
}

template <typename Record>
void fill(Record& record, const typename Mapping<Record>::Item& item) {
  RecordWriter<Record> writer(record);
  Mapping<Record>::fields(item, writer);
}

template <typename Record>
void read(const Record& record, typename Mapping<Record>::Item& item) {
  RecordReader<Record> reader(record);
  Mapping<Record>::fields(item, reader);
}

/** A new record at the end of `list`: already owned when it is filled. */
template <typename Record>
Record& append_record(GSList*& list) {
  auto* const record = new_record<Record>();
  list = g_slist_append(list, record);
  return *record;
}

/** Walks over the elements of a list that was read, among which memory may have been short. */
template <typename Record, typename Visit>
void for_each(const GSList* list, Visit visit) {
  for (const GSList* node = list; node; node = node->next) {
    if (!node->data) throw std::bad_alloc();
    visit(*static_cast<const Record*>(node->data));
  }
}

bool has_metadata(const NmsContentMeta& meta) {
  return meta.metaValue != 0 || !meta.metaText1.empty() || !meta.metaText2.empty() ||
         !meta.metaText3.empty();
}

void free_content(gpointer data) {
  auto* const content = static_cast<msg_content_item_t*>(data);
  if (!content) return;
  if (auto* const meta = content->nmsContentMetaData) {
    for (char* const text : {meta->text1, meta->text2, meta->text3}) std::free(text);
    std::free(meta);
  }
  for (char* const text : {content->text1, content->text2, content->text3, content->text4,
                           content->text5, content->text6}) {
    std::free(text);
  }
  std::free(content);
}

void free_address(gpointer data) {
  auto* const address = static_cast<msg_address_item_t*>(data);
  if (address) std::free(address->text1);
  std::free(address);
}

unsigned int pass_byte(char*& at) { return static_cast<unsigned char>(*at++); }

/**
 * Moves `at` behind marker, image and strings of a record, and counts it and its texts that are not
 * empty; the image's first byte.
 */
char* pass_record(char*& at, std::size_t& parts) {
  ++parts;
  const unsigned int imageSize = pass_byte(at);
  char* const image = at;
  at += imageSize;
  for (unsigned int left = pass_byte(at); left > 0; --left) {
    std::uint32_t length = 0;
    std::memcpy(&length, at, sizeof length);
    at += sizeof length + length;
    if (length > 0) ++parts;
  }
  return image;
}

/**
 * The reader leaves the sender's number in the slot of a content metadata's `text2` when that text
 * is empty, and the record does not tell a number from a pointer. So the number is taken out of the
 * buffer (which has been checked) before the reader sees it. Returns how many records and texts
 * there are.
 */
std::size_t clear_unread_pointers(char* at) {
  constexpr std::size_t TEXT2_AT = 3 * sizeof(std::int32_t);
  std::size_t parts = 0;
  pass_record(at, parts);
  for (unsigned int left = pass_byte(at); left > 0; --left) pass_record(at, parts);
  for (unsigned int left = pass_byte(at); left > 0; --left) {
    pass_record(at, parts);
    if (pass_byte(at) == 0) continue;
    std::memset(pass_record(at, parts) + TEXT2_AT, 0, sizeof(std::int32_t));
  }
  if (pass_byte(at) != 0) pass_record(at, parts);
  return parts;
}

/** A record and its texts. */
template <typename... Texts>
std::size_t with_texts(const Texts*... texts) {
  return 1 + (std::size_t{0} + ... + (texts ? 1U : 0U));
}

/** How many records and texts the reader made. */
std::size_t parts_of(const msg_message_item_t& record) {
  std::size_t parts = with_texts(record.text1, record.text2, record.text3);
  for_each<msg_address_item_t>(record.addressList, [&parts](const msg_address_item_t& address) {
    parts += with_texts(address.text1);
  });
  for_each<msg_content_item_t>(record.contentList, [&parts](const msg_content_item_t& content) {
    parts += with_texts(content.text1, content.text2, content.text3, content.text4, content.text5,
                        content.text6);
    const auto* const meta = content.nmsContentMetaData;
    if (meta) parts += with_texts(meta->text1, meta->text2, meta->text3);
  });
  const auto* const meta = record.nmsMsgMetaData;
  if (meta) parts += with_texts(meta->text1, meta->text2, meta->text3, meta->text4);
  return parts;
}

}  // namespace

void RecordDeleter::operator()(msg_message_item_t* record) const {
  g_slist_free_full(record->addressList, free_address);
  g_slist_free_full(record->contentList, free_content);
  if (auto* const meta = record->nmsMsgMetaData) {
    for (char* const text : {meta->text1, meta->text2, meta->text3, meta->text4}) std::free(text);
    std::free(meta);
  }
  for (char* const text : {record->text1, record->text2, record->text3}) std::free(text);
  std::free(record);
}

MessageRecord to_record(const Message& message) {
  MessageRecord record(new_record<msg_message_item_t>());
  fill(*record, message);
  for (const Address& address : message.addresses) {
    fill(append_record<msg_address_item_t>(record->addressList), address);
  }
  for (const Content& content : message.contents) {
    auto& part = append_record<msg_content_item_t>(record->contentList);
    fill(part, content);
    if (!has_metadata(content.nmsContentMeta)) continue;
    part.nmsContentMetaData = new_record<msg_nms_content_meta_data_t>();
    fill(*part.nmsContentMetaData, content.nmsContentMeta);
  }
  if (message.hasNmsMsgMeta()) {
    record->nmsMsgMetaData = new_record<msg_nms_msg_meta_data_t>();
    fill(*record->nmsMsgMetaData, message.nmsMsgMeta);
  }
  return record;
}

Message to_message(const msg_message_item_t& record) {
  Message message;
  read(record, message);
  for_each<msg_address_item_t>(record.addressList, [&message](const msg_address_item_t& address) {
    read(address, message.addresses.emplace_back());
    // A group's sender has no slot of his own: he is the address with the flag.
    const Address& added = message.addresses.back();
    if (added.userFlag && message.peerGroupChatSender.empty()) {
      message.peerGroupChatSender = added.address;
    }
  });
  for_each<msg_content_item_t>(record.contentList, [&message](const msg_content_item_t& content) {
    Content& added = message.contents.emplace_back();
    read(content, added);
    if (content.nmsContentMetaData) read(*content.nmsContentMetaData, added.nmsContentMeta);
  });
  if (record.nmsMsgMetaData) read(*record.nmsMsgMetaData, message.nmsMsgMeta);
  return message;
}

std::string to_buffer(const Message& message) {
  constexpr std::size_t MOST_ELEMENTS = 255;
  if (message.addresses.size() > MOST_ELEMENTS || message.contents.size() > MOST_ELEMENTS) {
    throw std::length_error("a message with more than 255 addresses or contents does not arrive");
  }
  const MessageRecord record = to_record(message);
  char* buffer = nullptr;
  const int size = msg_serialize_message(record.get(), &buffer);
  const std::unique_ptr<char, decltype(&std::free)> owned(buffer, &std::free);
  if (size == 0) throw std::bad_alloc();
  return {buffer, static_cast<std::size_t>(size)};
}

MessageRecord read_record(const char* buffer, std::size_t size) {
  if (size == 0 || msg_check_message(buffer, size) != size) return nullptr;
  std::string copy(buffer, size);
  const std::size_t parts = clear_unread_pointers(copy.data());
  MessageRecord record(new_record<msg_message_item_t>());
  msg_deserialize_message(copy.data(), record.get());
  // The reader reports nothing: what it had no memory for is missing.
  if (parts_of(*record) != parts) throw std::bad_alloc();
  return record;
}

std::string slot_meaning(RecordKind kind, int slot) {
  switch (kind) {
    case RecordKind::MESSAGE:
      return names_of<msg_message_item_t>(slot);
    case RecordKind::ADDRESS:
      return names_of<msg_address_item_t>(slot);
    case RecordKind::CONTENT:
      return names_of<msg_content_item_t>(slot);
    case RecordKind::MESSAGE_METADATA:
      return names_of<msg_nms_msg_meta_data_t>(slot);
    case RecordKind::CONTENT_METADATA:
      return names_of<msg_nms_content_meta_data_t>(slot);
  }
  return {};
}

}  // namespace msg_tarvel::helpers
