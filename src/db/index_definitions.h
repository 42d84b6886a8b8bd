#pragma once

#include <string>

namespace msg_tarvel::db {

/** Of the messages of a conversation, with what the list of conversations tells of them. */
constexpr const char* CONVERSATION_INDEX = "msg_message_conversation_index";

struct IndexDefinition {
  const char* name;
  /** What follows "CREATE INDEX <name> ON ". */
  const char* definition;
};

/**
 * The indexes of a store, in the order in which they are created. None moves the rows of a query
 * but among those whose order its text leaves open, and there the fast ways say which comes first.
 */
constexpr IndexDefinition INDEXES[] = {
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
    {CONVERSATION_INDEX,
     "msg_message_table(convId, displayTime DESC, msgId, networkStatus, simIndex, storageFolder, "
     "read)"},
    {"msg_message_time_index", "msg_message_table(displayTime DESC)"},
};

inline bool is_index_of_ours(const std::string& name) {
  for (const IndexDefinition& index : INDEXES) {
    if (name == index.name) return true;
  }
  return false;
}

}  // namespace msg_tarvel::db
