#include <msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h>

#include <cstdlib>

#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

class LibraryPeer : public WirePeer {
 public:
  LibraryPeer() = default;
  LibraryPeer(const LibraryPeer&) = delete;
  LibraryPeer& operator=(const LibraryPeer&) = delete;
  ~LibraryPeer() override { std::free(_buffer); }

  const char* name() const override { return "library"; }

  std::string_view encode(const msg_message_item_t& message) override {
    std::free(_buffer);
    _buffer = nullptr;
    const int size = msg_serialize_message(&message, &_buffer);
    return {_buffer, static_cast<std::size_t>(size)};
  }

  bool hasCheck() const override { return true; }
  bool check(std::string_view bytes) override {
    return msg_check_message(bytes.data(), bytes.size()) == bytes.size();
  }

  void decode(std::string_view bytes, msg_message_item_t& out) override {
    msg_deserialize_message(bytes.data(), &out);
  }
  void release(msg_message_item_t& message) override { msg_release_message(&message); }

 private:
  char* _buffer = nullptr;
};

}  // namespace

std::unique_ptr<WirePeer> make_library_peer() { return std::make_unique<LibraryPeer>(); }

}  // namespace msg_tarvel::bench
