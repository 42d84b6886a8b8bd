#include <capnp/message.h>
#include <capnp/serialize.h>
#include <kj/array.h>
#include <message.capnp.h>

#include <stdexcept>

#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

template <typename Record, typename Builder>
void write_numbers(const Record& record, Builder& out) {
  const auto numbers = numbers_of(record);
  auto list = out.initNumbers(numbers.size());
  for (unsigned int i = 0; i < numbers.size(); ++i) list.set(i, numbers[i]);
}

void write(const msg_address_item_t& record, capnproto::Address::Builder out) {
  write_numbers(record, out);
  if (record.text1) out.setText1(record.text1);
}
void write(const msg_nms_content_meta_data_t& record, capnproto::ContentMeta::Builder out) {
  write_numbers(record, out);
  if (record.text1) out.setText1(record.text1);
  if (record.text2) out.setText2(record.text2);
  if (record.text3) out.setText3(record.text3);
}
void write(const msg_content_item_t& record, capnproto::Content::Builder out) {
  write_numbers(record, out);
  if (record.text1) out.setText1(record.text1);
  if (record.text2) out.setText2(record.text2);
  if (record.text3) out.setText3(record.text3);
  if (record.text4) out.setText4(record.text4);
  if (record.text5) out.setText5(record.text5);
  if (record.text6) out.setText6(record.text6);
  if (record.nmsContentMetaData) write(*record.nmsContentMetaData, out.initMeta());
}
void write(const msg_nms_msg_meta_data_t& record, capnproto::Meta::Builder out) {
  write_numbers(record, out);
  if (record.text1) out.setText1(record.text1);
  if (record.text2) out.setText2(record.text2);
  if (record.text3) out.setText3(record.text3);
  if (record.text4) out.setText4(record.text4);
}
template <typename Record, typename List>
void write_list(const GSList* list, List out) {
  unsigned int place = 0;
  for_each<Record>(list, [&](const Record& record) { write(record, out[place++]); });
}
void write(const msg_message_item_t& record, capnproto::Message::Builder out) {
  write_numbers(record, out);
  if (record.text1) out.setText1(record.text1);
  if (record.text2) out.setText2(record.text2);
  if (record.text3) out.setText3(record.text3);
  write_list<msg_address_item_t>(record.addressList,
                                 out.initAddresses(g_slist_length(record.addressList)));
  write_list<msg_content_item_t>(record.contentList,
                                 out.initContents(g_slist_length(record.contentList)));
  if (record.nmsMsgMetaData) write(*record.nmsMsgMetaData, out.initMeta());
}

template <typename Record, typename Reader>
void read_numbers(const Reader& from, Record& out) {
  const auto list = from.getNumbers();
  Numbers<Record> numbers;
  if (list.size() != numbers.size()) throw std::runtime_error("not a message of Cap'n Proto");
  for (unsigned int i = 0; i < numbers.size(); ++i) numbers[i] = list[i];
  set_numbers(out, numbers.data());
}

char* copied(capnp::Text::Reader text) { return new_text(text.cStr(), text.size()); }

void read(capnproto::Address::Reader from, msg_address_item_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.getText1());
}
void read(capnproto::ContentMeta::Reader from, msg_nms_content_meta_data_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.getText1());
  out.text2 = copied(from.getText2());
  out.text3 = copied(from.getText3());
}
void read(capnproto::Meta::Reader from, msg_nms_msg_meta_data_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.getText1());
  out.text2 = copied(from.getText2());
  out.text3 = copied(from.getText3());
  out.text4 = copied(from.getText4());
}
void read(capnproto::Content::Reader from, msg_content_item_t& out);
template <typename Record, typename Reader>
Record* read_new(Reader from) {
  auto* const record = new_record<Record>();
  read(from, *record);
  return record;
}
void read(capnproto::Content::Reader from, msg_content_item_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.getText1());
  out.text2 = copied(from.getText2());
  out.text3 = copied(from.getText3());
  out.text4 = copied(from.getText4());
  out.text5 = copied(from.getText5());
  out.text6 = copied(from.getText6());
  out.nmsContentMetaData =
      from.hasMeta() ? read_new<msg_nms_content_meta_data_t>(from.getMeta()) : nullptr;
}
template <typename Record, typename List>
GSList* read_list(List elements) {
  GSList* list = nullptr;
  for (unsigned int i = elements.size(); i > 0; --i) {
    list = g_slist_prepend(list, read_new<Record>(elements[i - 1]));
  }
  return list;
}
void read(capnproto::Message::Reader from, msg_message_item_t& out) {
  read_numbers(from, out);
  out.text1 = copied(from.getText1());
  out.text2 = copied(from.getText2());
  out.text3 = copied(from.getText3());
  out.addressList = read_list<msg_address_item_t>(from.getAddresses());
  out.contentList = read_list<msg_content_item_t>(from.getContents());
  out.nmsMsgMetaData = from.hasMeta() ? read_new<msg_nms_msg_meta_data_t>(from.getMeta()) : nullptr;
}

/** Its bounds are checked while it is read. */
class CapnProtoPeer : public WirePeer {
 public:
  CapnProtoPeer() { std::memset(_segment.begin(), 0, _segment.asBytes().size()); }

  const char* name() const override { return "Cap'n Proto"; }

  std::string_view encode(const msg_message_item_t& message) override {
    // The builder wants its first segment of zeros, and leaves it so.
    capnp::MallocMessageBuilder builder(_segment);
    write(message, builder.initRoot<capnproto::Message>());
    _words = capnp::messageToFlatArray(builder);
    const auto bytes = _words.asChars();
    return {bytes.begin(), bytes.size()};
  }

  void decode(std::string_view bytes, msg_message_item_t& out) override {
    const kj::ArrayPtr<const capnp::word> words(reinterpret_cast<const capnp::word*>(bytes.data()),
                                                bytes.size() / sizeof(capnp::word));
    capnp::FlatArrayMessageReader reader(words);
    read(reader.getRoot<capnproto::Message>(), out);
  }

 private:
  static constexpr std::size_t FIRST_SEGMENT_WORDS = 4096;

  kj::Array<capnp::word> _segment = kj::heapArray<capnp::word>(FIRST_SEGMENT_WORDS);
  kj::Array<capnp::word> _words;
};

}  // namespace

std::unique_ptr<WirePeer> make_capnproto_peer() { return std::make_unique<CapnProtoPeer>(); }

}  // namespace msg_tarvel::bench
