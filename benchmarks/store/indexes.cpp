#include "helpers/statements.h"
#include "store/person_store.h"

namespace msg_tarvel::bench {

// To be replaced by the library's own db::db_create_indexes().
void add_indexes() {
  constexpr const char* OF_CONVERSATION =
      "msg_message_table(convId, displayTime DESC, msgId, networkStatus, simIndex, storageFolder, "
      "read)";
  constexpr const char* INDEXES[] = {
      "msg_address_table(convId)",
      "msg_mms_content_table(msgId)",
      "msg_ft_content_table(msgId)",
      "msg_ft_content_table(filepath)",
      "msg_nms_meta_table(msgId)",
      "msg_nms_meta_table(objectId)",
      "msg_nms_meta_table(primaryId, BTCorrelated, MSSICorrelated)",
      "msg_nms_meta_table(downloadRequired)",
      "msg_nms_meta_table(BTCorrelated)",
      "msg_nms_meta_table(MSSICorrelated, MSSISync, deleted)",
      "msg_message_table(msgType) WHERE sync = 0",
      "msg_message_table(itemId) WHERE msgType IS NOT NULL",
      OF_CONVERSATION,
      "msg_message_table(displayTime DESC)",
  };
  int number = 0;
  for (const char* const index : INDEXES) {
    const std::string name = "bench_index_" + std::to_string(++number);
    helpers::execute("CREATE INDEX " + name + " ON " + index + ";", "cannot make an index");
  }
}

}  // namespace msg_tarvel::bench
