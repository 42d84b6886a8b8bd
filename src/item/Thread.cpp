#include "msg-tarvel-common/item/Thread.h"

#include <utility>

namespace msg_tarvel {

// lastMsgId belongs to the object that db_get_thread fills and to no other: construction leaves it
// alone, and copy, move and swap do not carry it.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): see above
Thread::Thread() = default;

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): see above
Thread::Thread(const Thread& other)
    : convId(other.convId),
      peerConvId(other.peerConvId),
      unreadCnt(other.unreadCnt),
      msgCnt(other.msgCnt),
      sending(other.sending),
      failed(other.failed),
      storageFolder(other.storageFolder),
      networkStatus(other.networkStatus),
      simIndex(other.simIndex),
      displayTime(other.displayTime),
      stickerId(other.stickerId),
      msgType(other.msgType),
      mainText(other.mainText),
      msgText(other.msgText),
      peerChatType(other.peerChatType),
      peerChatState(other.peerChatState) {}

Thread::Thread(Thread&& other) : Thread() { swap(*this, other); }

Thread::~Thread() = default;

Thread& Thread::operator=(Thread other) {
  swap(*this, other);
  return *this;
}

void swap(Thread& a, Thread& b) noexcept {
  using std::swap;
  swap(a.convId, b.convId);
  swap(a.peerConvId, b.peerConvId);
  swap(a.unreadCnt, b.unreadCnt);
  swap(a.msgCnt, b.msgCnt);
  swap(a.sending, b.sending);
  swap(a.failed, b.failed);
  swap(a.storageFolder, b.storageFolder);
  swap(a.networkStatus, b.networkStatus);
  swap(a.simIndex, b.simIndex);
  swap(a.displayTime, b.displayTime);
  swap(a.stickerId, b.stickerId);
  swap(a.msgType, b.msgType);
  swap(a.mainText, b.mainText);
  swap(a.msgText, b.msgText);
  swap(a.peerChatType, b.peerChatType);
  swap(a.peerChatState, b.peerChatState);
}

}  // namespace msg_tarvel
