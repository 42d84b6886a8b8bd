#pragma once

#include <msg-tarvel-common/msg-tarvel-serializer/msg_records.h>

#include <memory>
#include <string_view>

namespace msg_tarvel::bench {

/** Whose the encoded bytes are. */
enum class Output {
  /** The caller's, as the library's are: each message's in a block of its own. */
  HANDED_OUT,
  /** The peer's, who overwrites them with the next message: for a caller that sends them at once.
   */
  REUSED,
};

/**
 * A way to hand records over: from the C records to bytes and from bytes to new C records, as a
 * program would do it that wants speed.
 */
class WirePeer {
 public:
  WirePeer() = default;
  WirePeer(const WirePeer&) = delete;
  WirePeer& operator=(const WirePeer&) = delete;
  virtual ~WirePeer() = default;

  virtual const char* name() const = 0;
  virtual Output output() const { return Output::HANDED_OUT; }

  /** Before anything is timed with `message`. */
  virtual void prepare(const msg_message_item_t& message);

  /** The bytes stay until the next call, which releases them. */
  virtual std::string_view encode(const msg_message_item_t& message) = 0;

  /** Whether it can look at bytes from elsewhere before they are read. */
  virtual bool hasCheck() const { return false; }
  virtual bool check(std::string_view bytes);

  /** Everything in `out` is new. A peer whose reader trusts no bytes checks them here. */
  virtual void decode(std::string_view bytes, msg_message_item_t& out) = 0;
  /** What decode leaves out because it is not to be timed. */
  virtual void complete(msg_message_item_t& out);
  virtual void release(msg_message_item_t& message);
};

std::unique_ptr<WirePeer> make_library_peer();
/** One malloc for the bytes and one for each record and text, and the copying; no list, no format.
 */
std::unique_ptr<WirePeer> make_floor();
std::unique_ptr<WirePeer> make_gvariant_peer();
// Each is there when its library is; see CMakeLists.txt.
std::unique_ptr<WirePeer> make_capnproto_peer();
std::unique_ptr<WirePeer> make_flatbuffers_peer(Output output);
std::unique_ptr<WirePeer> make_msgpack_peer(Output output);
std::unique_ptr<WirePeer> make_protobuf_peer();
/** The same between bytes and an object of the generated class that is there already. */
std::unique_ptr<WirePeer> make_protobuf_object_peer();

}  // namespace msg_tarvel::bench
