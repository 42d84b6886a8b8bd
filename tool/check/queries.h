#pragma once

// The questions that a check asks a store's database, side by side.

namespace msg_tarvel::tool {

constexpr const char* INTEGRITY_CHECK = "PRAGMA integrity_check(100);";

/** Table, how many of its rows, and the table that they name a row of. */
constexpr const char* FOREIGN_KEY_CHECK =
    "SELECT \"table\", count(*), parent FROM pragma_foreign_key_check GROUP BY 1, 3 ORDER BY 1, 3;";

constexpr const char* SELECT_TYPE = "SELECT type FROM sqlite_master WHERE name = ?;";

constexpr const char* SELECT_COLUMN_TYPE =
    "SELECT type FROM pragma_table_info(?1) WHERE name = ?2 COLLATE NOCASE;";

constexpr const char* SELECT_INDEX =
    "SELECT sql FROM sqlite_master WHERE type = 'index' AND name = ?;";

// Rows whose message or conversation is not there: their own key, and the one that they name.

constexpr const char* SELECT_ORPHAN_MESSAGES =
    "SELECT msgId, convId FROM msg_message_table WHERE convId NOT IN "
    "(SELECT convId FROM msg_conversation_table) ORDER BY 1;";
constexpr const char* SELECT_ORPHAN_ADDRESSES =
    "SELECT addressId, convId FROM msg_address_table WHERE convId NOT IN "
    "(SELECT convId FROM msg_conversation_table) ORDER BY 1;";
constexpr const char* SELECT_ORPHAN_CONTENTS =
    "SELECT contentId, msgId FROM msg_mms_content_table WHERE msgId NOT IN "
    "(SELECT msgId FROM msg_message_table) ORDER BY 1;";
constexpr const char* SELECT_ORPHAN_TRANSFERS =
    "SELECT id, msgId FROM msg_ft_content_table WHERE msgId NOT IN "
    "(SELECT msgId FROM msg_message_table) ORDER BY 1;";
constexpr const char* SELECT_ORPHAN_METADATA =
    "SELECT id, msgId FROM msg_nms_meta_table WHERE msgId NOT IN "
    "(SELECT msgId FROM msg_message_table) ORDER BY 1;";
constexpr const char* SELECT_ORPHAN_QUEUE =
    "SELECT id, msgId FROM ft_queue_table WHERE msgId NOT IN "
    "(SELECT msgId FROM msg_message_table) ORDER BY 1;";
constexpr const char* SELECT_ORPHAN_TRANSACTIONS =
    "SELECT id, msgId FROM message_transaction_table WHERE msgId NOT IN "
    "(SELECT msgId FROM msg_message_table) ORDER BY 1;";

constexpr const char* SELECT_MESSAGES =
    "SELECT convId, msgId, storageFolder, read, displayTime FROM msg_message_table;";

constexpr const char* SELECT_CONVERSATIONS =
    "SELECT convId, msgCnt, unreadCnt FROM msg_conversation_table ORDER BY convId;";

/** Whether conversation ?2 shows message ?1; NULL is as good as 0 and an empty text. */
constexpr const char* SHOWS_MESSAGE =
    "SELECT c.lastMsgId IS m.msgId AND coalesce(c.msgType, '') = coalesce(m.msgType, '') AND "
    "coalesce(c.storageFolder, 0) = coalesce(m.storageFolder, 0) AND "
    "coalesce(c.displayTime, 0) = coalesce(m.displayTime, 0) AND "
    "coalesce(c.expiryTime, 0) = coalesce(m.expiryTime, 0) AND "
    "coalesce(c.mainText, '') = coalesce(m.mainText, '') AND "
    "coalesce(c.msgText, '') = coalesce(m.textMessage, '') AND "
    "coalesce(c.stickerId, 0) = coalesce(m.stickerId, 0) "
    "FROM msg_conversation_table c, msg_message_table m WHERE m.msgId = ?1 AND c.convId = ?2;";

/** The same of conversation ?2 and no message, which is what ?1 is. */
constexpr const char* SHOWS_NOTHING =
    "SELECT coalesce(lastMsgId, 0) = ?1 AND coalesce(msgType, '') = '' AND "
    "coalesce(displayTime, 0) = 0 AND coalesce(mainText, '') = '' AND coalesce(msgText, '') = '' "
    "FROM msg_conversation_table WHERE convId = ?2;";

constexpr const char* SELECT_WITHOUT_MESSAGES =
    "SELECT convId FROM msg_conversation_table WHERE convId NOT IN "
    "(SELECT convId FROM msg_message_table) ORDER BY 1;";
constexpr const char* SELECT_WITHOUT_ADDRESSES =
    "SELECT convId FROM msg_conversation_table WHERE convId NOT IN "
    "(SELECT convId FROM msg_address_table) ORDER BY 1;";

constexpr const char* SELECT_PEOPLE =
    "SELECT convId, address FROM msg_address_table WHERE addressType IS NOT 3 ORDER BY convId, "
    "addressId;";

/** The row that names a file, and the path. */
constexpr const char* SELECT_CONTENT_FILES =
    "SELECT 'content ' || contentId, filepath FROM msg_mms_content_table WHERE filepath <> '' AND "
    "coalesce(hasFile, 0) <> 0 UNION ALL SELECT 'content ' || contentId, thumbpath FROM "
    "msg_mms_content_table WHERE thumbpath <> '' UNION ALL SELECT 'transfer ' || id, filepath FROM "
    "msg_ft_content_table WHERE filepath <> '';";

}  // namespace msg_tarvel::tool
