#include "print/item_json.h"

namespace msg_tarvel::tool {

Json to_json(const Address& address) {
  return {{"convId", address.convId},
          {"addressType", address.addressType},
          {"recipientType", address.recipientType},
          {"address", address.address},
          {"userFlag", address.userFlag}};
}

Json to_json(const Content& content) {
  return {{"msgId", content.msgId},
          {"slideIdx", content.slideIdx},
          {"attachType", content.attachType},
          {"hasFile", content.hasFile},
          {"contentType", content.contentType},
          {"mediaType", content.mediaType},
          {"status", content.status},
          {"textData", content.textData},
          {"filepath", content.filepath},
          {"filename", content.filename},
          {"thumbpath", content.thumbpath},
          {"peer_filepath", content.peer_filepath},
          {"peer_copied_filepath", content.peer_copied_filepath}};
}

Json to_json(const NmsMsgMeta& meta) {
  return {{"msgId", meta.msgId},
          {"objectId", meta.objectId},
          {"resourceURL", meta.resourceURL},
          {"primaryId", meta.primaryId},
          {"secondaryId", meta.secondaryId},
          {"lastModSeq", meta.lastModSeq},
          {"msgTime", meta.msgTime},
          {"BTCorrelated", meta.BTCorrelated},
          {"MSSICorrelated", meta.MSSICorrelated},
          {"MSSISync", meta.MSSISync},
          {"deleted", meta.deleted},
          {"downloadRequired", meta.downloadRequired}};
}

namespace {

/** The fields that a Message and a Conversation share. */
template <typename Item>
Json message_fields(const Item& message) {
  return {{"msgId", message.msgId},
          {"convId", message.convId},
          {"itemId", message.itemId},
          {"msgType", message.msgType},
          {"storageFolder", message.storageFolder},
          {"storageId", message.storageId},
          {"networkStatus", message.networkStatus},
          {"simIndex", message.simIndex},
          {"displayTime", message.displayTime},
          {"read", message.read},
          {"isSafeMessage", message.isSafeMessage},
          {"isShareDialMessage", message.isShareDialMessage},
          {"attachedNum", message.attachedNum},
          {"stickerId", message.stickerId},
          {"mainText", message.mainText},
          {"textMessage", message.textMessage},
          {"peerConvId", message.peerConvId},
          {"peerChatType", message.peerChatType},
          {"peerChatSessionId", message.peerChatSessionId},
          {"peerGroupChatSender", message.peerGroupChatSender},
          {"contents", to_json_list(message.contents)}};
}

}  // namespace

Json to_json(const Conversation& message) { return message_fields(message); }

Json to_json(const SimInfo& sim) {
  return {{"id", sim.id},
          {"simIndex", sim.simIndex},
          {"storageId", sim.storageId},
          {"imsi", sim.imsi},
          {"address", sim.address}};
}

Json to_json(const Message& message) {
  Json json = message_fields(message);
  json["addresses"] = to_json_list(message.addresses);
  json["nmsMsgMeta"] = message.hasNmsMsgMeta() ? to_json(message.nmsMsgMeta) : Json(nullptr);
  return json;
}

Json to_json(const Thread& thread) {
  return {{"convId", thread.convId},
          {"peerConvId", thread.peerConvId},
          {"unreadCnt", thread.unreadCnt},
          {"msgCnt", thread.msgCnt},
          {"sending", thread.sending},
          {"failed", thread.failed},
          {"storageFolder", thread.storageFolder},
          {"networkStatus", thread.networkStatus},
          {"simIndex", thread.simIndex},
          {"displayTime", thread.displayTime},
          {"stickerId", thread.stickerId},
          {"msgType", thread.msgType},
          {"mainText", thread.mainText},
          {"msgText", thread.msgText},
          {"peerChatType", thread.peerChatType},
          {"peerChatState", thread.peerChatState}};
}

Json to_json(const ListedThread& listed) {
  Json json = to_json(listed.thread);
  json["addresses"] = to_json_list(listed.addresses);
  json["lastMsgId"] = listed.thread.lastMsgId;
  return json;
}

}  // namespace msg_tarvel::tool
