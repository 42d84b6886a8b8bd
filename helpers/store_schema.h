#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::helpers {

// What a whole store holds, for those who look whether one is whole.

/** PRAGMA user_version of every store. */
constexpr int STORE_VERSION = 4;

struct TableSchema {
  const char* name;
  /** Their definitions, separated by ", ". */
  const char* columns;
};

constexpr TableSchema STORE_TABLES[] = {
    {"temp_log",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, time_stamp TEXT, data1 TEXT, data2 TEXT, data3 "
     "TEXT"},
    {"msg_address_table",
     "addressId INTEGER PRIMARY KEY AUTOINCREMENT, convId INT NOT NULL, addressType INT, "
     "recipientType INT, address TEXT"},
    {"msg_message_table",
     "msgId INTEGER PRIMARY KEY AUTOINCREMENT, msgType TEXT, subType INT, itemId INT, "
     "convId INT NOT NULL, storageId INT, storageFolder INT DEFAULT 0, networkStatus INT "
     "DEFAULT 0, mainText TEXT, textMessage TEXT, displayTime INT, expiryTime INT DEFAULT "
     "0, attachedNum INT, sync INT, read INT, simIndex INT, simAddress TEXT, peerConvId "
     "INT, peerChatType INT, peerChatSessionId TEXT, peerGroupChatSender TEXT, groupId "
     "INT, stickerId INT, isShareDialMessage INT, isSafeMessage INT, customFieldInt1 INT, "
     "customFieldStr1 TEXT"},
    {"msg_conversation_table",
     "convId INTEGER PRIMARY KEY AUTOINCREMENT, unreadCnt INT DEFAULT 0, msgCnt INT "
     "DEFAULT 0, msgType TEXT, storageFolder INT, displayTime INT, expiryTime INT DEFAULT "
     "0, mainText TEXT, msgText TEXT, peerConvId INT, peerChatType INT, peerChatSessionId "
     "TEXT, peerChatState INT, stickerId INT, lastMsgId INT DEFAULT 0, customFieldInt1 "
     "INT, customFieldStr1 TEXT"},
    {"ft_queue_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, itemId INT, msgType TEXT, "
     "peerfilePath TEXT, fileName TEXT"},
    {"deleted_msg_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, msgType TEXT, itemId INT, "
     "storageFolder INT, displayTime INT, data1 TEXT"},
    {"respond_msg_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, result_id INT, body TEXT, status INT"},
    {"msg_mms_content_table",
     "contentId INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, slideIdx INT, textData TEXT, "
     "mediaType INT, contentType TEXT, attachType INT, hasFile INT, status INT, filepath "
     "TEXT, filename TEXT, thumbpath TEXT, peer_filepath TEXT, peer_copied_filepath TEXT, "
     "resourceURL TEXT, size INT, customFieldInt1 INT, customFieldStr1 TEXT"},
    {"message_transaction_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, transaction_id INT, raw_string TEXT, time INT, "
     "msgId INT"},
    {"msg_sim_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, simIndex INT, storageId INT, Imsi TEXT, "
     "Address TEXT, customInt INT"},
    {"msg_ft_content_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, status INT, transaction_id INT, "
     "filepath TEXT, filename TEXT, contentType TEXT, customFieldInt1 INT, customFieldStr1 "
     "TEXT"},
    {"msg_nms_meta_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, msgId INT, objectId TEXT, primaryId TEXT, "
     "secondaryId TEXT, resourceURL TEXT, BTCorrelated INT, MSSICorrelated INT, lastModSeq "
     "INT, MSSISync INT, deleted INT, msgTime INT, downloadRequired INT, customFieldInt1 "
     "INT, customFieldStr1 TEXT"},
    {"mssi_info_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, notiIdx INT, restartToken TEXT, "
     "customFieldInt1 INT, customFieldStr1 TEXT"},
    {"msg_sharedial_meta_table",
     "id INTEGER PRIMARY KEY AUTOINCREMENT, type INT NOT NULL, startingTime INT NOT NULL, "
     "finishingTime INT DEFAULT 0"},
};

struct IndexSchema {
  const char* name;
  /** What follows "CREATE INDEX <name> ON ". */
  const char* definition;
};

/** Those that db_create_indexes makes. */
constexpr IndexSchema STORE_INDEXES[] = {
    {"msg_address_conversation_index", "msg_address_table(convId)"},
    {"msg_mms_content_message_index", "msg_mms_content_table(msgId)"},
    {"msg_ft_content_message_index", "msg_ft_content_table(msgId)"},
    {"msg_ft_content_path_index", "msg_ft_content_table(filepath)"},
    {"msg_nms_meta_message_index", "msg_nms_meta_table(msgId)"},
    {"msg_nms_meta_object_index", "msg_nms_meta_table(objectId)"},
    {"msg_nms_meta_primary_index", "msg_nms_meta_table(primaryId, BTCorrelated, MSSICorrelated)"},
    {"msg_nms_meta_download_index", "msg_nms_meta_table(downloadRequired)"},
    {"msg_nms_meta_bt_index", "msg_nms_meta_table(BTCorrelated)"},
    {"msg_nms_meta_mssi_index", "msg_nms_meta_table(MSSICorrelated, MSSISync, deleted)"},
    {"msg_message_unsynced_index", "msg_message_table(msgType) WHERE sync = 0"},
    {"msg_message_item_index", "msg_message_table(itemId) WHERE msgType IS NOT NULL"},
    {"msg_message_conversation_index",
     "msg_message_table(convId, displayTime DESC, msgId, networkStatus, simIndex, "
     "storageFolder, read)"},
    {"msg_message_time_index", "msg_message_table(displayTime DESC)"},
};

struct ColumnSchema {
  std::string name;
  std::string type;
  /** All that follows the name. */
  std::string definition;

  /** Whether it can be added to a table that lacks it. */
  bool canBeAdded() const;
};

std::vector<ColumnSchema> columns_of(const TableSchema& table);

}  // namespace msg_tarvel::helpers
