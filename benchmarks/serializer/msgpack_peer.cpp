#include <msgpack.hpp>
#include <stdexcept>

#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

/** A record is an array: its numbers, its texts, and what belongs to it. */
class MsgpackPeer : public WirePeer {
 public:
  explicit MsgpackPeer(Output output) : _output(output) {}

  const char* name() const override {
    return _output == Output::REUSED ? "msgpack-cxx, reusing" : "msgpack-cxx";
  }
  Output output() const override { return _output; }

  std::string_view encode(const msg_message_item_t& message) override {
    if (_output == Output::HANDED_OUT) {
      // An empty buffer takes new memory; the old one's is released here.
      std::free(_buffer.release());
    }
    _buffer.clear();
    _writeHead(message, 3);
    _writeList<msg_address_item_t>(
        message.addressList, [this](const msg_address_item_t& address) { _writeHead(address, 0); });
    _writeList<msg_content_item_t>(message.contentList, [this](const msg_content_item_t& content) {
      _writeHead(content, 1);
      _writeOptional(content.nmsContentMetaData);
    });
    _writeOptional(message.nmsMsgMetaData);
    return {_buffer.data(), _buffer.size()};
  }

  void decode(std::string_view bytes, msg_message_item_t& out) override {
    // Texts are not copied before they are copied into records.
    const msgpack::object_handle handle =
        msgpack::unpack(bytes.data(), bytes.size(),
                        [](msgpack::type::object_type /*type*/, std::size_t /*size*/,
                           void* /*unused*/) { return true; });
    const msgpack::object* const rest = _readHead(handle.get(), out, 3);
    out.addressList = _readList<msg_address_item_t>(
        rest[0], [](const msgpack::object& object, msg_address_item_t& address) {
          _readHead(object, address, 0);
        });
    out.contentList = _readList<msg_content_item_t>(
        rest[1], [](const msgpack::object& object, msg_content_item_t& content) {
          const msgpack::object* const meta = _readHead(object, content, 1);
          content.nmsContentMetaData = _readOptional<msg_nms_content_meta_data_t>(*meta);
        });
    out.nmsMsgMetaData = _readOptional<msg_nms_msg_meta_data_t>(rest[2]);
  }

 private:
  template <typename Record>
  void _writeHead(const Record& record, std::size_t elementsAfter) {
    const auto numbers = numbers_of(record);
    _packer.pack_array(
        static_cast<std::uint32_t>(numbers.size() + TEXT_COUNT<Record> + elementsAfter));
    for (const std::int32_t number : numbers) _packer.pack_int32(number);
    for (const auto member : Parts<Record>::TEXTS) {
      const char* const text = text_or_empty(record.*member);
      const auto size = static_cast<std::uint32_t>(std::strlen(text));
      _packer.pack_str(size);
      _packer.pack_str_body(text, size);
    }
  }
  template <typename Record>
  void _writeOptional(const Record* record) {
    if (record) {
      _writeHead(*record, 0);
    } else {
      _packer.pack_nil();
    }
  }
  template <typename Record, typename Write>
  void _writeList(GSList* list, Write write) {
    _packer.pack_array(g_slist_length(list));
    for_each<Record>(list, write);
  }

  static void _require(bool holds) {
    if (!holds) throw std::runtime_error("not a message of msgpack");
  }

  /** Returns the elements after the texts, as many as there must be. */
  template <typename Record>
  static const msgpack::object* _readHead(const msgpack::object& object, Record& record,
                                          std::size_t elementsAfter) {
    _require(object.type == msgpack::type::ARRAY &&
             object.via.array.size == Parts<Record>::NUMBERS + TEXT_COUNT<Record> + elementsAfter);
    const msgpack::object* element = object.via.array.ptr;
    Numbers<Record> numbers;
    for (std::int32_t& number : numbers) number = (element++)->as<std::int32_t>();
    set_numbers(record, numbers.data());
    for (const auto member : Parts<Record>::TEXTS) {
      _require(element->type == msgpack::type::STR);
      record.*member = new_text(element->via.str.ptr, element->via.str.size);
      ++element;
    }
    return element;
  }
  template <typename Record>
  static Record* _readOptional(const msgpack::object& object) {
    if (object.is_nil()) return nullptr;
    auto* const record = new_record<Record>();
    _readHead(object, *record, 0);
    return record;
  }
  template <typename Record, typename Read>
  static GSList* _readList(const msgpack::object& object, Read read) {
    _require(object.type == msgpack::type::ARRAY);
    GSList* list = nullptr;
    for (std::uint32_t i = object.via.array.size; i > 0; --i) {
      auto* const record = new_record<Record>();
      read(object.via.array.ptr[i - 1], *record);
      list = g_slist_prepend(list, record);
    }
    return list;
  }

  Output _output;
  msgpack::sbuffer _buffer;
  msgpack::packer<msgpack::sbuffer> _packer{_buffer};
};

}  // namespace

std::unique_ptr<WirePeer> make_msgpack_peer(Output output) {
  return std::make_unique<MsgpackPeer>(output);
}

}  // namespace msg_tarvel::bench
