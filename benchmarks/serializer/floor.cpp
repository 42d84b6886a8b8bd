#include <cstdlib>
#include <new>
#include <vector>

#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

// What a record takes among the bytes: four bytes for each of its slots.
constexpr std::size_t ADDRESS_IMAGE = 20;
constexpr std::size_t CONTENT_META_IMAGE = 24;
constexpr std::size_t CONTENT_IMAGE = 56;
constexpr std::size_t META_IMAGE = 56;
constexpr std::size_t MESSAGE_IMAGE = 84;

/** A record's slots or a text; where, and how much memory the reader takes for it. */
struct Piece {
  const char* data;
  std::size_t size;
  std::size_t made;
  bool isText;
};

/** A call of memcpy would cost more than what it does for a small record. */
void copy(char* to, const char* from, std::size_t size) {
  if (size == ADDRESS_IMAGE) {
    std::memcpy(to, from, ADDRESS_IMAGE);
  } else if (size == CONTENT_META_IMAGE) {
    std::memcpy(to, from, CONTENT_META_IMAGE);
  } else {
    std::memcpy(to, from, size);
  }
}

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
    _addRecord(message, MESSAGE_IMAGE);
    for_each<msg_address_item_t>(message.addressList, [this](const msg_address_item_t& address) {
      _addRecord(address, ADDRESS_IMAGE);
      ++_listNodes;
    });
    for_each<msg_content_item_t>(message.contentList, [this](const msg_content_item_t& content) {
      _addRecord(content, CONTENT_IMAGE);
      if (content.nmsContentMetaData) _addRecord(*content.nmsContentMetaData, CONTENT_META_IMAGE);
      ++_listNodes;
    });
    if (message.nmsMsgMetaData) _addRecord(*message.nmsMsgMetaData, META_IMAGE);
    _made.assign(_pieces.size(), nullptr);
  }

  /** The lengths of texts are taken anew: no writer knows them. */
  std::string_view encode(const msg_message_item_t& /*message*/) override {
    std::free(_buffer);
    // The first piece is the message itself.
    std::size_t size = MESSAGE_IMAGE;
    for (std::size_t i = 1; i < _pieces.size(); ++i) {
      Piece& piece = _pieces[i];
      if (piece.isText) piece.size = std::strlen(piece.data);
      size += piece.size;
    }
    _buffer = static_cast<char*>(std::malloc(size));
    if (!_buffer) throw std::bad_alloc();
    char* at = _buffer;
    for (const Piece& piece : _pieces) {
      copy(at, piece.data, piece.size);
      at += piece.size;
    }
    return {_buffer, size};
  }

  /** The message itself is the caller's, everything else is made. */
  void decode(std::string_view bytes, msg_message_item_t& out) override {
    const char* at = bytes.data();
    std::memcpy(&out, at, MESSAGE_IMAGE);
    at += MESSAGE_IMAGE;
    for (std::size_t i = 1; i < _pieces.size(); ++i) {
      const Piece& piece = _pieces[i];
      auto* const made = static_cast<char*>(std::malloc(piece.made));
      if (!made) throw std::bad_alloc();
      copy(made, at, piece.size);
      if (piece.isText) made[piece.size] = '\0';
      at += piece.size;
      _made[i] = made;
    }
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
  void _addRecord(const Record& record, std::size_t image) {
    _pieces.push_back({reinterpret_cast<const char*>(&record), image, sizeof record, false});
    for (const auto member : Parts<Record>::TEXTS) {
      const char* const text = record.*member;
      if (!text || !*text) continue;
      const std::size_t length = std::strlen(text);
      _pieces.push_back({text, length, length + 1, true});
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
