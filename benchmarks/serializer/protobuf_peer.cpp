#include <message.pb.h>

#include <stdexcept>
#include <string>

#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

// From records to the generated classes. An empty text is one that is not there.

template <typename Class, typename Record>
void write_numbers(const Record& record, Class& out) {
  const auto numbers = numbers_of(record);
  out.mutable_numbers()->Add(numbers.begin(), numbers.end());
}

void write(const msg_address_item_t& record, proto::Address& out) {
  write_numbers(record, out);
  out.set_text1(text_or_empty(record.text1));
}
void write(const msg_nms_content_meta_data_t& record, proto::ContentMeta& out) {
  write_numbers(record, out);
  out.set_text1(text_or_empty(record.text1));
  out.set_text2(text_or_empty(record.text2));
  out.set_text3(text_or_empty(record.text3));
}
void write(const msg_content_item_t& record, proto::Content& out) {
  write_numbers(record, out);
  out.set_text1(text_or_empty(record.text1));
  out.set_text2(text_or_empty(record.text2));
  out.set_text3(text_or_empty(record.text3));
  out.set_text4(text_or_empty(record.text4));
  out.set_text5(text_or_empty(record.text5));
  out.set_text6(text_or_empty(record.text6));
  if (record.nmsContentMetaData) write(*record.nmsContentMetaData, *out.mutable_meta());
}
void write(const msg_nms_msg_meta_data_t& record, proto::Meta& out) {
  write_numbers(record, out);
  out.set_text1(text_or_empty(record.text1));
  out.set_text2(text_or_empty(record.text2));
  out.set_text3(text_or_empty(record.text3));
  out.set_text4(text_or_empty(record.text4));
}
void write(const msg_message_item_t& record, proto::Message& out) {
  write_numbers(record, out);
  out.set_text1(text_or_empty(record.text1));
  out.set_text2(text_or_empty(record.text2));
  out.set_text3(text_or_empty(record.text3));
  for_each<msg_address_item_t>(record.addressList, [&out](const msg_address_item_t& address) {
    write(address, *out.add_addresses());
  });
  for_each<msg_content_item_t>(record.contentList, [&out](const msg_content_item_t& content) {
    write(content, *out.add_contents());
  });
  if (record.nmsMsgMetaData) write(*record.nmsMsgMetaData, *out.mutable_meta());
}

// And back.

template <typename Class, typename Record>
void read_numbers(const Class& from, Record& out) {
  const auto& numbers = from.numbers();
  if (!set_numbers_from(out, numbers.data(),
                        static_cast<std::size_t>(numbers.size()) * sizeof(std::int32_t))) {
    throw std::runtime_error("not a message of Protocol Buffers");
  }
}

char* copied(const std::string& text) { return new_text(text.data(), text.size()); }

void read(const proto::Address& from, msg_address_item_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.text1());
}
void read(const proto::ContentMeta& from, msg_nms_content_meta_data_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.text1());
  out.text2 = copied(from.text2());
  out.text3 = copied(from.text3());
}
void read(const proto::Meta& from, msg_nms_msg_meta_data_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.text1());
  out.text2 = copied(from.text2());
  out.text3 = copied(from.text3());
  out.text4 = copied(from.text4());
}
void read(const proto::Content& from, msg_content_item_t& out);
template <typename Record, typename Class>
Record* read_new(const Class& from) {
  auto* const record = new_record<Record>();
  read(from, *record);
  return record;
}
void read(const proto::Content& from, msg_content_item_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.text1());
  out.text2 = copied(from.text2());
  out.text3 = copied(from.text3());
  out.text4 = copied(from.text4());
  out.text5 = copied(from.text5());
  out.text6 = copied(from.text6());
  out.nmsContentMetaData =
      from.has_meta() ? read_new<msg_nms_content_meta_data_t>(from.meta()) : nullptr;
}
template <typename Record, typename List>
GSList* read_list(const List& elements) {
  GSList* list = nullptr;
  for (int i = elements.size(); i > 0; --i) {
    list = g_slist_prepend(list, read_new<Record>(elements[i - 1]));
  }
  return list;
}
void read(const proto::Message& from, msg_message_item_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.text1());
  out.text2 = copied(from.text2());
  out.text3 = copied(from.text3());
  out.addressList = read_list<msg_address_item_t>(from.addresses());
  out.contentList = read_list<msg_content_item_t>(from.contents());
  out.nmsMsgMetaData = from.has_meta() ? read_new<msg_nms_msg_meta_data_t>(from.meta()) : nullptr;
}

class ProtobufPeer : public WirePeer {
 public:
  const char* name() const override { return "Protocol Buffers"; }

  std::string_view encode(const msg_message_item_t& message) override {
    _object.Clear();
    write(message, _object);
    return _encodeObject();
  }
  void decode(std::string_view bytes, msg_message_item_t& out) override {
    _decodeObject(bytes);
    read(_object, out);
  }

 protected:
  proto::Message& _filled() { return _object; }
  std::string_view _encodeObject() {
    _bytes = _object.SerializeAsString();
    return _bytes;
  }
  void _decodeObject(std::string_view bytes) {
    if (!_object.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
      throw std::runtime_error("Protocol Buffers refuses its own bytes");
    }
  }

 private:
  proto::Message _object;
  std::string _bytes;
};

class ProtobufObjectPeer : public ProtobufPeer {
 public:
  const char* name() const override { return "Protocol Buffers, object"; }

  void prepare(const msg_message_item_t& message) override {
    _filled().Clear();
    write(message, _filled());
  }
  std::string_view encode(const msg_message_item_t& /*message*/) override {
    return _encodeObject();
  }
  void decode(std::string_view bytes, msg_message_item_t& /*out*/) override {
    _decodeObject(bytes);
  }
  void complete(msg_message_item_t& out) override {
    read(_filled(), out);
    _hasRecords = true;
  }
  /** Nothing, or what complete() made. */
  void release(msg_message_item_t& message) override {
    if (_hasRecords) WirePeer::release(message);
    _hasRecords = false;
  }

 private:
  bool _hasRecords = false;
};

}  // namespace

std::unique_ptr<WirePeer> make_protobuf_peer() { return std::make_unique<ProtobufPeer>(); }

std::unique_ptr<WirePeer> make_protobuf_object_peer() {
  return std::make_unique<ProtobufObjectPeer>();
}

}  // namespace msg_tarvel::bench
