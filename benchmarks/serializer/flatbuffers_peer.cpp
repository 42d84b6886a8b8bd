#include <message_generated.h>

#include <stdexcept>
#include <vector>

#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

using flatbuffers::Offset;

/** Verifies before it reads, and copies what it reads into records. */
class FlatBuffersPeer : public WirePeer {
 public:
  explicit FlatBuffersPeer(Output output) : _output(output) {}

  const char* name() const override {
    return _output == Output::REUSED ? "FlatBuffers, reusing" : "FlatBuffers";
  }
  Output output() const override { return _output; }

  std::string_view encode(const msg_message_item_t& message) override {
    _builder.Clear();
    _builder.Finish(_write(message));
    if (_output == Output::REUSED) {
      return {reinterpret_cast<const char*>(_builder.GetBufferPointer()), _builder.GetSize()};
    }
    _bytes = _builder.Release();
    return {reinterpret_cast<const char*>(_bytes.data()), _bytes.size()};
  }

  bool hasCheck() const override { return true; }
  bool check(std::string_view bytes) override {
    flatbuffers::Verifier verifier(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size());
    return flat::VerifyMessageBuffer(verifier);
  }

  void decode(std::string_view bytes, msg_message_item_t& out) override {
    if (!check(bytes)) throw std::runtime_error("FlatBuffers refuses its own bytes");
    const flat::Message* const message = flat::GetMessage(bytes.data());
    set_numbers(out, message->numbers()->slots()->data());
    out.text1 = _text(message->text1());
    out.text2 = _text(message->text2());
    out.text3 = _text(message->text3());
    out.addressList = _list<msg_address_item_t>(message->addresses());
    out.contentList = _list<msg_content_item_t>(message->contents());
    out.nmsMsgMetaData = message->meta() ? _read(*message->meta()) : nullptr;
  }

 private:
  using Text = Offset<flatbuffers::String>;

  Text _text(const char* text) {
    return text && *text ? _builder.CreateString(text, std::strlen(text)) : Text();
  }
  static char* _text(const flatbuffers::String* text) {
    return text ? new_text(text->c_str(), text->size()) : nullptr;
  }

  template <typename Struct, typename Record>
  static Struct _numbers(const Record& record) {
    const auto all = numbers_of(record);
    return Struct(flatbuffers::span<const std::int32_t, all.size()>(all.data(), all.size()));
  }

  Offset<flat::Address> _write(const msg_address_item_t& address) {
    const auto numbers = _numbers<flat::AddressNumbers>(address);
    return flat::CreateAddress(_builder, &numbers, _text(address.text1));
  }
  Offset<flat::ContentMeta> _write(const msg_nms_content_meta_data_t& meta) {
    const auto numbers = _numbers<flat::ContentMetaNumbers>(meta);
    const Text text1 = _text(meta.text1);
    const Text text2 = _text(meta.text2);
    const Text text3 = _text(meta.text3);
    return flat::CreateContentMeta(_builder, &numbers, text1, text2, text3);
  }
  Offset<flat::Content> _write(const msg_content_item_t& content) {
    const auto numbers = _numbers<flat::ContentNumbers>(content);
    const Text text1 = _text(content.text1);
    const Text text2 = _text(content.text2);
    const Text text3 = _text(content.text3);
    const Text text4 = _text(content.text4);
    const Text text5 = _text(content.text5);
    const Text text6 = _text(content.text6);
    const auto meta = content.nmsContentMetaData ? _write(*content.nmsContentMetaData)
                                                 : Offset<flat::ContentMeta>();
    return flat::CreateContent(_builder, &numbers, text1, text2, text3, text4, text5, text6, meta);
  }
  Offset<flat::Meta> _write(const msg_nms_msg_meta_data_t& meta) {
    const auto numbers = _numbers<flat::MetaNumbers>(meta);
    const Text text1 = _text(meta.text1);
    const Text text2 = _text(meta.text2);
    const Text text3 = _text(meta.text3);
    const Text text4 = _text(meta.text4);
    return flat::CreateMeta(_builder, &numbers, text1, text2, text3, text4);
  }
  Offset<flat::Message> _write(const msg_message_item_t& message) {
    const auto numbers = _numbers<flat::MessageNumbers>(message);
    const Text text1 = _text(message.text1);
    const Text text2 = _text(message.text2);
    const Text text3 = _text(message.text3);
    _addresses.clear();
    for_each<msg_address_item_t>(message.addressList, [this](const msg_address_item_t& address) {
      _addresses.push_back(_write(address));
    });
    _contents.clear();
    for_each<msg_content_item_t>(message.contentList, [this](const msg_content_item_t& content) {
      _contents.push_back(_write(content));
    });
    const auto addresses = _builder.CreateVector(_addresses);
    const auto contents = _builder.CreateVector(_contents);
    const auto meta =
        message.nmsMsgMetaData ? _write(*message.nmsMsgMetaData) : Offset<flat::Meta>();
    return flat::CreateMessage(_builder, &numbers, text1, text2, text3, addresses, contents, meta);
  }

  static msg_address_item_t* _read(const flat::Address& address) {
    auto* const out = new_record<msg_address_item_t>();
    set_numbers(*out, address.numbers()->slots()->data());
    out->text1 = _text(address.text1());
    return out;
  }
  static msg_nms_content_meta_data_t* _read(const flat::ContentMeta& meta) {
    auto* const out = new_record<msg_nms_content_meta_data_t>();
    set_numbers(*out, meta.numbers()->slots()->data());
    out->text1 = _text(meta.text1());
    out->text2 = _text(meta.text2());
    out->text3 = _text(meta.text3());
    return out;
  }
  static msg_content_item_t* _read(const flat::Content& content) {
    auto* const out = new_record<msg_content_item_t>();
    set_numbers(*out, content.numbers()->slots()->data());
    out->text1 = _text(content.text1());
    out->text2 = _text(content.text2());
    out->text3 = _text(content.text3());
    out->text4 = _text(content.text4());
    out->text5 = _text(content.text5());
    out->text6 = _text(content.text6());
    out->nmsContentMetaData = content.meta() ? _read(*content.meta()) : nullptr;
    return out;
  }
  static msg_nms_msg_meta_data_t* _read(const flat::Meta& meta) {
    auto* const out = new_record<msg_nms_msg_meta_data_t>();
    set_numbers(*out, meta.numbers()->slots()->data());
    out->text1 = _text(meta.text1());
    out->text2 = _text(meta.text2());
    out->text3 = _text(meta.text3());
    out->text4 = _text(meta.text4());
    return out;
  }

  template <typename Record, typename Vector>
  static GSList* _list(const Vector* elements) {
    GSList* list = nullptr;
    if (!elements) return list;
    for (flatbuffers::uoffset_t i = elements->size(); i > 0; --i) {
      list = g_slist_prepend(list, _read(*elements->Get(i - 1)));
    }
    return list;
  }

  Output _output;
  flatbuffers::FlatBufferBuilder _builder;
  flatbuffers::DetachedBuffer _bytes;
  std::vector<Offset<flat::Address>> _addresses;
  std::vector<Offset<flat::Content>> _contents;
};

}  // namespace

std::unique_ptr<WirePeer> make_flatbuffers_peer(Output output) {
  return std::make_unique<FlatBuffersPeer>(output);
}

}  // namespace msg_tarvel::bench
