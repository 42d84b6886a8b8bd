#include "support/message_text.h"

#include <sstream>

namespace msg_tarvel {

std::string text_of(const Message& message) {
  std::ostringstream text;
  const auto line = [&text](const std::string& name, const auto& value) {
    text << name << ": " << value << "\n";
  };
  line("itemId", message.itemId);
  line("msgType", message.msgType);
  line("storageFolder", message.storageFolder);
  line("storageId", message.storageId);
  line("networkStatus", message.networkStatus);
  line("simIndex", message.simIndex);
  line("displayTime", message.displayTime);
  line("read", message.read);
  line("isSafeMessage", message.isSafeMessage);
  line("isShareDialMessage", message.isShareDialMessage);
  line("attachedNum", message.attachedNum);
  line("stickerId", message.stickerId);
  line("mainText", message.mainText);
  line("textMessage", message.textMessage);
  line("peerConvId", message.peerConvId);
  line("peerChatType", message.peerChatType);
  line("peerGroupChatSender", message.peerGroupChatSender);
  for (const Address& address : message.addresses) {
    line("address", address.address);
    line("  addressType", address.addressType);
    line("  recipientType", address.recipientType);
    line("  userFlag", address.userFlag);
  }
  for (const Content& content : message.contents) {
    line("content", content.contentType);
    line("  slideIdx", content.slideIdx);
    line("  attachType", content.attachType);
    line("  hasFile", content.hasFile);
    line("  mediaType", content.mediaType);
    line("  status", content.status);
    line("  textData", content.textData);
    line("  filepath", content.filepath);
    line("  filename", content.filename);
    line("  thumbpath", content.thumbpath);
    line("  peer_filepath", content.peer_filepath);
    line("  metaValue", content.nmsContentMeta.metaValue);
    line("  metaText1", content.nmsContentMeta.metaText1);
    line("  metaText2", content.nmsContentMeta.metaText2);
    line("  metaText3", content.nmsContentMeta.metaText3);
  }
  const NmsMsgMeta& meta = message.nmsMsgMeta;
  line("objectId", meta.objectId);
  line("resourceURL", meta.resourceURL);
  line("primaryId", meta.primaryId);
  line("secondaryId", meta.secondaryId);
  line("lastModSeq", meta.lastModSeq);
  line("msgTime", meta.msgTime);
  line("BTCorrelated", meta.BTCorrelated);
  line("MSSICorrelated", meta.MSSICorrelated);
  line("MSSISync", meta.MSSISync);
  line("deleted", meta.deleted);
  line("downloadRequired", meta.downloadRequired);
  return text.str();
}

Message full_message() {
  Message message;
  message.msgId = 11;
  message.convId = 12;
  message.itemId = -13;
  message.msgType = "mms";
  message.storageFolder = msg_tarvel::MAIN_FOLDER_1;
  message.storageId = 14;
  message.networkStatus = 15;
  message.simIndex = 1;
  message.displayTime = 0x0123456789ABCDEF;
  message.isSafeMessage = true;
  message.peerChatType = true;
  message.attachedNum = 16;
  message.stickerId = 17;
  message.peerConvId = 18;
  message.mainText = "Subject";
  message.textMessage = "It's a \u00fcmlaut";
  message.peerGroupChatSender = "o'brien@example.org";

  Address& number = message.addresses.emplace_back();
  number.convId = 12;
  number.addressType = 1;
  number.recipientType = 1;
  number.address = "+14155550100";
  Address& sender = message.addresses.emplace_back();
  sender.convId = 12;
  sender.addressType = 2;
  sender.recipientType = 2;
  sender.address = "o'brien@example.org";
  sender.userFlag = true;

  Content& picture = message.contents.emplace_back();
  picture.msgId = 11;
  picture.slideIdx = 1;
  picture.attachType = true;
  picture.hasFile = true;
  picture.contentType = "image/jpeg";
  picture.mediaType = 19;
  picture.status = 20;
  picture.filepath = "/media/picture.jpg";
  picture.filename = "picture.jpg";
  picture.thumbpath = "/media/thumb.jpg";
  picture.peer_filepath = "/peer/picture.jpg";
  Content& text = message.contents.emplace_back();
  text.msgId = 11;
  text.contentType = "text/plain";
  text.textData = "Look at this";

  NmsMsgMeta& meta = message.nmsMsgMeta;
  meta.msgId = 11;
  meta.objectId = "object";
  meta.resourceURL = "https://store.example.org/object";
  meta.primaryId = "first";
  meta.secondaryId = "second";
  meta.lastModSeq = -0x0123456789ABCDEF;
  meta.msgTime = 1700000000123;
  meta.BTCorrelated = 1;
  meta.MSSICorrelated = 2;
  meta.MSSISync = true;
  meta.downloadRequired = true;
  return message;
}

}  // namespace msg_tarvel
