#include "serializer/wire_peer.h"

#include "serializer/records.h"

namespace msg_tarvel::bench {

void WirePeer::prepare(const msg_message_item_t& /*message*/) {}

bool WirePeer::check(std::string_view /*bytes*/) { return true; }

void WirePeer::complete(msg_message_item_t& /*out*/) {}

void WirePeer::release(msg_message_item_t& message) { release_records(message); }

}  // namespace msg_tarvel::bench
