#include "msg-tarvel-common/item/Message.h"

#include <utility>

namespace msg_tarvel {

Message::Message() = default;

Message::Message(const Message& other) = default;

Message::Message(Message&& other) noexcept : Message() { swap(*this, other); }

Message::~Message() = default;

Message& Message::operator=(Message other) {
  swap(*this, other);
  return *this;
}

bool Message::hasNmsMsgMeta() const {
  return !nmsMsgMeta.objectId.empty() || !nmsMsgMeta.primaryId.empty() ||
         !nmsMsgMeta.secondaryId.empty();
}

void swap(Message& a, Message& b) noexcept {
  using std::swap;
  swap(a.msgId, b.msgId);
  swap(a.convId, b.convId);
  swap(a.itemId, b.itemId);
  swap(a.msgType, b.msgType);
  swap(a.auxInt1, b.auxInt1);
  swap(a.storageFolder, b.storageFolder);
  swap(a.storageId, b.storageId);
  swap(a.networkStatus, b.networkStatus);
  swap(a.simIndex, b.simIndex);
  swap(a.displayTime, b.displayTime);
  swap(a.auxTime, b.auxTime);
  swap(a.read, b.read);
  swap(a.isSafeMessage, b.isSafeMessage);
  swap(a.isShareDialMessage, b.isShareDialMessage);
  swap(a.attachedNum, b.attachedNum);
  swap(a.auxInt2, b.auxInt2);
  swap(a.auxInt3, b.auxInt3);
  swap(a.stickerId, b.stickerId);
  swap(a.auxInt4, b.auxInt4);
  swap(a.mainText, b.mainText);
  swap(a.textMessage, b.textMessage);
  swap(a.auxText, b.auxText);
  swap(a.peerConvId, b.peerConvId);
  swap(a.peerChatType, b.peerChatType);
  swap(a.auxFlag, b.auxFlag);
  swap(a.peerChatSessionId, b.peerChatSessionId);
  swap(a.peerGroupChatSender, b.peerGroupChatSender);
  swap(a.addresses, b.addresses);
  swap(a.contents, b.contents);
  swap(a.nmsMsgMeta, b.nmsMsgMeta);
}

}  // namespace msg_tarvel
