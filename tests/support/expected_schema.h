#pragma once

// The tables of the message store as other processes know them, in the order of their creation and
// written out independently of the library's own texts.

namespace msg_tarvel {

struct ExpectedTable {
  const char* name;
  const char* creationText;
  /** Every column with type, "NOT NULL", default and "KEY", as pragma_table_info tells them. */
  const char* columns;
};

constexpr ExpectedTable EXPECTED_TABLES[] = {
    {"temp_log",
     "CREATE TABLE temp_log(id INTEGER PRIMARY KEY AUTOINCREMENT, time_stamp TEXT, data1 TEXT, "
     "data2 TEXT, data3 TEXT );",
     "id INTEGER KEY, time_stamp TEXT, data1 TEXT, data2 TEXT, data3 TEXT"},
    {"msg_address_table",
     "CREATE TABLE msg_address_table(addressId INTEGER PRIMARY KEY AUTOINCREMENT, convId INT NOT "
     "NULL, addressType INT, recipientType INT, address TEXT, FOREIGN KEY (convId) REFERENCES "
     "msg_conversation_table (convId));",
     "addressId INTEGER KEY, convId INT NOT NULL, addressType INT, recipientType INT, address "
     "TEXT"},
    {"msg_message_table",
     "CREATE TABLE msg_message_table(msgId INTEGER PRIMARY KEY AUTOINCREMENT, msgType TEXT, "
     "subType INT, itemId INT, convId INT NOT NULL, storageId INT, storageFolder INT DEFAULT 0, "
     "networkStatus INT DEFAULT 0, mainText TEXT, textMessage TEXT, displayTime INT, expiryTime "
     "INT DEFAULT 0, attachedNum INT, sync INT, read INT, simIndex INT, simAddress TEXT, "
     "peerConvId INT, peerChatType INT, peerChatSessionId TEXT, peerGroupChatSender TEXT, "
     "groupId INT, stickerId INT, isShareDialMessage INT, isSafeMessage INT, customFieldInt1 "
     "INT, customFieldStr1 TEXT, FOREIGN KEY (convId) REFERENCES msg_conversation_table (convId) "
     ");",
     "msgId INTEGER KEY, msgType TEXT, subType INT, itemId INT, convId INT NOT NULL, storageId "
     "INT, storageFolder INT DEFAULT 0, networkStatus INT DEFAULT 0, mainText TEXT, textMessage "
     "TEXT, displayTime INT, expiryTime INT DEFAULT 0, attachedNum INT, sync INT, read INT, "
     "simIndex INT, simAddress TEXT, peerConvId INT, peerChatType INT, peerChatSessionId TEXT, "
     "peerGroupChatSender TEXT, groupId INT, stickerId INT, isShareDialMessage INT, "
     "isSafeMessage INT, customFieldInt1 INT, customFieldStr1 TEXT"},
    {"msg_conversation_table",
     "CREATE TABLE msg_conversation_table(convId INTEGER PRIMARY KEY AUTOINCREMENT, unreadCnt "
     "INT DEFAULT 0, msgCnt INT DEFAULT 0, msgType TEXT, storageFolder INT, displayTime INT, "
     "expiryTime INT DEFAULT 0, mainText TEXT, msgText TEXT, peerConvId INT, peerChatType INT, "
     "peerChatSessionId TEXT, peerChatState INT, stickerId INT, lastMsgId INT DEFAULT 0, "
     "customFieldInt1 INT, customFieldStr1 TEXT );",
     "convId INTEGER KEY, unreadCnt INT DEFAULT 0, msgCnt INT DEFAULT 0, msgType TEXT, "
     "storageFolder INT, displayTime INT, expiryTime INT DEFAULT 0, mainText TEXT, msgText TEXT, "
     "peerConvId INT, peerChatType INT, peerChatSessionId TEXT, peerChatState INT, stickerId "
     "INT, lastMsgId INT DEFAULT 0, customFieldInt1 INT, customFieldStr1 TEXT"},
    {"ft_queue_table",
     "CREATE TABLE ft_queue_table(id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, itemId INT, "
     "msgType TEXT, peerfilePath TEXT, fileName TEXT );",
     "id INTEGER KEY, msgId INT, itemId INT, msgType TEXT, peerfilePath TEXT, fileName TEXT"},
    {"deleted_msg_table",
     "CREATE TABLE deleted_msg_table(id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, msgType "
     "TEXT, itemId INT, storageFolder INT, displayTime INT, data1 TEXT );",
     "id INTEGER KEY, msgId INT, msgType TEXT, itemId INT, storageFolder INT, displayTime INT, "
     "data1 TEXT"},
    {"respond_msg_table",
     "CREATE TABLE respond_msg_table(id INTEGER PRIMARY KEY AUTOINCREMENT, result_id INT, body "
     "TEXT, status INT );",
     "id INTEGER KEY, result_id INT, body TEXT, status INT"},
    {"msg_mms_content_table",
     "CREATE TABLE msg_mms_content_table(contentId INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, "
     "slideIdx INT, textData TEXT, mediaType INT, contentType TEXT, attachType INT, hasFile INT, "
     "status INT, filepath TEXT, filename TEXT, thumbpath TEXT, peer_filepath TEXT, "
     "peer_copied_filepath TEXT, resourceURL TEXT, size INT, customFieldInt1 INT, "
     "customFieldStr1 TEXT, FOREIGN KEY (msgId) REFERENCES msg_message_table (msgId) );",
     "contentId INTEGER KEY, msgId INT, slideIdx INT, textData TEXT, mediaType INT, contentType "
     "TEXT, attachType INT, hasFile INT, status INT, filepath TEXT, filename TEXT, thumbpath "
     "TEXT, peer_filepath TEXT, peer_copied_filepath TEXT, resourceURL TEXT, size INT, "
     "customFieldInt1 INT, customFieldStr1 TEXT"},
    {"message_transaction_table",
     "CREATE TABLE message_transaction_table(id INTEGER PRIMARY KEY AUTOINCREMENT, "
     "transaction_id INT, raw_string TEXT, time INT, msgId INT );",
     "id INTEGER KEY, transaction_id INT, raw_string TEXT, time INT, msgId INT"},
    {"msg_sim_table",
     "CREATE TABLE msg_sim_table(id INTEGER PRIMARY KEY AUTOINCREMENT, simIndex INT, storageId "
     "INT, Imsi TEXT, Address TEXT, customInt INT );",
     "id INTEGER KEY, simIndex INT, storageId INT, Imsi TEXT, Address TEXT, customInt INT"},
    {"msg_ft_content_table",
     "CREATE TABLE msg_ft_content_table(id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, status "
     "INT, transaction_id INT, filepath TEXT, filename TEXT, contentType TEXT, customFieldInt1 "
     "INT, customFieldStr1 TEXT, FOREIGN KEY (msgId) REFERENCES msg_message_table (msgId) );",
     "id INTEGER KEY, msgId INT, status INT, transaction_id INT, filepath TEXT, filename TEXT, "
     "contentType TEXT, customFieldInt1 INT, customFieldStr1 TEXT"},
    {"msg_nms_meta_table",
     "CREATE TABLE msg_nms_meta_table(id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, objectId "
     "TEXT, primaryId TEXT, secondaryId TEXT, resourceURL TEXT, BTCorrelated INT, MSSICorrelated "
     "INT, lastModSeq INT, MSSISync INT, deleted INT, msgTime INT, downloadRequired INT, "
     "customFieldInt1 INT, customFieldStr1 TEXT, FOREIGN KEY (msgId) REFERENCES "
     "msg_message_table (msgId) );",
     "id INTEGER KEY, msgId INT, objectId TEXT, primaryId TEXT, secondaryId TEXT, resourceURL "
     "TEXT, BTCorrelated INT, MSSICorrelated INT, lastModSeq INT, MSSISync INT, deleted INT, "
     "msgTime INT, downloadRequired INT, customFieldInt1 INT, customFieldStr1 TEXT"},
    {"mssi_info_table",
     "CREATE TABLE mssi_info_table(id INTEGER PRIMARY KEY AUTOINCREMENT, notiIdx INT, "
     "restartToken TEXT, customFieldInt1 INT, customFieldStr1 TEXT );",
     "id INTEGER KEY, notiIdx INT, restartToken TEXT, customFieldInt1 INT, customFieldStr1 TEXT"},
    {"msg_sharedial_meta_table",
     "CREATE TABLE msg_sharedial_meta_table(id INTEGER PRIMARY KEY AUTOINCREMENT, type INT NOT "
     "NULL, startingTime INT NOT NULL, finishingTime INT DEFAULT 0);",
     "id INTEGER KEY, type INT NOT NULL, startingTime INT NOT NULL, finishingTime INT DEFAULT 0"},
};

}  // namespace msg_tarvel
