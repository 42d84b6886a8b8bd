#include "queries/same_items.h"

#include <tuple>

namespace msg_tarvel::bench {

namespace {

auto fields(const Address& a) {
  return std::tie(a.convId, a.addressType, a.recipientType, a.address, a.userFlag);
}

auto fields(const Content& c) {
  return std::tie(c.msgId, c.slideIdx, c.attachType, c.hasFile, c.contentType, c.mediaType,
                  c.status, c.textData, c.filepath, c.filename, c.thumbpath, c.peer_filepath,
                  c.peer_copied_filepath, c.rawDataSize);
}

auto fields(const NmsMsgMeta& m) {
  return std::tie(m.msgId, m.objectId, m.resourceURL, m.primaryId, m.secondaryId, m.lastModSeq,
                  m.msgTime, m.BTCorrelated, m.MSSICorrelated, m.MSSISync, m.deleted,
                  m.downloadRequired);
}

auto fields(const Thread& t) {
  return std::tie(t.convId, t.peerConvId, t.unreadCnt, t.msgCnt, t.sending, t.failed,
                  t.storageFolder, t.networkStatus, t.simIndex, t.displayTime, t.stickerId,
                  t.msgType, t.mainText, t.msgText, t.peerChatType, t.peerChatState);
}

/** What Message and Conversation share. */
template <typename AnyMessage>
auto common_fields(const AnyMessage& m) {
  return std::tie(m.msgId, m.convId, m.itemId, m.msgType, m.storageFolder, m.storageId,
                  m.networkStatus, m.simIndex, m.displayTime, m.read, m.isSafeMessage,
                  m.isShareDialMessage, m.attachedNum, m.stickerId, m.peerChatType, m.peerConvId,
                  m.peerChatSessionId, m.peerGroupChatSender, m.mainText, m.textMessage);
}

}  // namespace

bool is_same(const Address& a, const Address& b) { return fields(a) == fields(b); }

bool is_same(const Content& a, const Content& b) { return fields(a) == fields(b); }

bool is_same(const NmsMsgMeta& a, const NmsMsgMeta& b) { return fields(a) == fields(b); }

bool is_same(const Thread& a, const Thread& b) { return fields(a) == fields(b); }

bool is_same(const Conversation& a, const Conversation& b) {
  return common_fields(a) == common_fields(b) && is_same(a.contents, b.contents);
}

bool is_same(const Message& a, const Message& b) {
  return common_fields(a) == common_fields(b) && is_same(a.addresses, b.addresses) &&
         is_same(a.contents, b.contents) && is_same(a.nmsMsgMeta, b.nmsMsgMeta);
}

}  // namespace msg_tarvel::bench
