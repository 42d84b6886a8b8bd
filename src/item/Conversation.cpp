#include "msg-tarvel-common/item/Conversation.h"

#include <utility>

namespace msg_tarvel {

Conversation::Conversation() = default;

Conversation::Conversation(const Conversation& other) = default;

Conversation::Conversation(Conversation&& other) noexcept : Conversation() { swap(*this, other); }

Conversation::~Conversation() = default;

Conversation& Conversation::operator=(Conversation other) {
  swap(*this, other);
  return *this;
}

void swap(Conversation& a, Conversation& b) noexcept {
  using std::swap;
  swap(a.msgId, b.msgId);
  swap(a.convId, b.convId);
  swap(a.itemId, b.itemId);
  swap(a.msgType, b.msgType);
  swap(a.storageFolder, b.storageFolder);
  swap(a.storageId, b.storageId);
  swap(a.networkStatus, b.networkStatus);
  swap(a.simIndex, b.simIndex);
  swap(a.displayTime, b.displayTime);
  swap(a.read, b.read);
  swap(a.isSafeMessage, b.isSafeMessage);
  swap(a.isShareDialMessage, b.isShareDialMessage);
  swap(a.attachedNum, b.attachedNum);
  swap(a.stickerId, b.stickerId);
  swap(a.peerChatType, b.peerChatType);
  swap(a.peerConvId, b.peerConvId);
  swap(a.peerChatSessionId, b.peerChatSessionId);
  swap(a.peerGroupChatSender, b.peerGroupChatSender);
  swap(a.mainText, b.mainText);
  swap(a.textMessage, b.textMessage);
  swap(a.contents, b.contents);
}

}  // namespace msg_tarvel
