#include <cstdlib>
#include <new>
#include <vector>

#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

struct Piece {
  const void* data;
  std::size_t size;
  bool isText;
};

/** What nobody who hands these records over can do without. */
class Floor : public WirePeer {
 public:
  Floor() = default;
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;
  ~Floor() override { std::free(_buffer); }

  const char* name() const override { return "floor"; }

  void prepare(const msg_message_item_t& message) override {
    _pieces.clear();
    _listNodes = 0;
    _addRecord(message);
    for_each<msg_address_item_t>(message.addressList, [this](const msg_address_item_t& address) {
      _addRecord(address);
      ++_listNodes;
    });
    for_each<msg_content_item_t>(message.contentList, [this](const msg_content_item_t& content) {
      _addRecord(content);
      if (content.nmsContentMetaData) _addRecord(*content.nmsContentMetaData);
      ++_listNodes;
    });
    if (message.nmsMsgMetaData) _addRecord(*message.nmsMsgMetaData);
    _made.assign(_pieces.size(), nullptr);
  }

  std::string_view encode(const msg_message_item_t& /*message*/) override {
    std::free(_buffer);
    std::size_t size = 0;
    for (Piece& piece : _pieces) {
      if (piece.isText) piece.size = std::strlen(static_cast<const char*>(piece.data));
      size += piece.size;
    }
    _buffer = static_cast<char*>(std::malloc(size));
    if (!_buffer) throw std::bad_alloc();
    char* at = _buffer;
    for (const Piece& piece : _pieces) {
      std::memcpy(at, piece.data, piece.size);
      at += piece.size;
    }
    return {_buffer, size};
  }

  /** The first record is the caller's. */
  void decode(std::string_view bytes, msg_message_item_t& out) override {
    const char* at = bytes.data();
    std::memcpy(&out, at, sizeof out);
    at += sizeof out;
    for (std::size_t i = 1; i < _pieces.size(); ++i) {
      const Piece& piece = _pieces[i];
      auto* const copy = static_cast<char*>(std::malloc(piece.size + (piece.isText ? 1 : 0)));
      if (!copy) throw std::bad_alloc();
      std::memcpy(copy, at, piece.size);
      if (piece.isText) copy[piece.size] = '\0';
      at += piece.size;
      _made[i] = copy;
    }
    _nodes = nullptr;
    for (std::size_t i = 0; i < _listNodes; ++i) _nodes = g_slist_prepend(_nodes, nullptr);
  }

  void release(msg_message_item_t& /*message*/) override {
    for (void*& made : _made) {
      std::free(made);
      made = nullptr;
    }
    g_slist_free(_nodes);
    _nodes = nullptr;
  }

 private:
  template <typename Record>
  void _addRecord(const Record& record) {
    _pieces.push_back({&record, sizeof record, false});
    for (const auto member : Parts<Record>::TEXTS) {
      const char* const text = record.*member;
      if (text && *text) _pieces.push_back({text, std::strlen(text), true});
    }
  }

  std::vector<Piece> _pieces;
  std::vector<void*> _made;
  std::size_t _listNodes = 0;
  GSList* _nodes = nullptr;
  char* _buffer = nullptr;
};

}  // namespace

std::unique_ptr<WirePeer> make_floor() { return std::make_unique<Floor>(); }

}  // namespace msg_tarvel::bench
