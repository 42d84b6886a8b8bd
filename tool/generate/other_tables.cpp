#include "generate/other_tables.h"

#include <string>

#include "generate/people.h"
#include "generate/texts.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/store_writer.h"

namespace msg_tarvel::tool {

namespace {

using helpers::CANNOT_WRITE;

// Each of these copies from rows that are there, in their order.

constexpr const char* FILE_TRANSFERS =
    "INSERT INTO msg_ft_content_table (msgId, status, transaction_id, filepath, filename, "
    "contentType) SELECT msgId, contentId % 3, contentId, filepath, filename, 'json_msg' "
    "FROM msg_mms_content_table WHERE hasFile = 1 AND msgId % 10 = 0 ORDER BY contentId;";

constexpr const char* QUEUED_TRANSFERS =
    "INSERT INTO ft_queue_table (msgId, itemId, msgType, peerfilePath, fileName) "
    "SELECT msgId, msgId + 5000, 'mms', peer_filepath, filename FROM msg_mms_content_table "
    "WHERE peer_filepath <> '' AND msgId % 20 = 0 ORDER BY contentId;";

constexpr const char* CONTENTS_ON_THE_NETWORK =
    "UPDATE msg_mms_content_table SET resourceURL = 'https://nms.example.org/store/contents/' || "
    "contentId WHERE contentId % 7 = 0;";

constexpr const char* DELETED_MESSAGES =
    "INSERT INTO deleted_msg_table (msgId, msgType, itemId, storageFolder, displayTime) "
    "SELECT msgId + 1000000, msgType, itemId + 1000000, storageFolder, displayTime "
    "FROM msg_message_table WHERE msgId % 100 = 0 ORDER BY msgId;";

constexpr const char* TRANSACTIONS =
    "INSERT INTO message_transaction_table (transaction_id, raw_string, time, msgId) "
    "SELECT itemId, 'SEND ' || msgType || ' ' || textMessage, displayTime, msgId "
    "FROM msg_message_table WHERE msgId % 200 = 0 ORDER BY msgId;";

constexpr const char* RESPONSES =
    "INSERT INTO respond_msg_table (result_id, body, status) "
    "SELECT itemId, textMessage, msgId % 2 FROM msg_message_table WHERE msgId % 500 = 0 "
    "ORDER BY msgId;";

constexpr const char* SHARING_TIMES =
    "INSERT INTO msg_sharedial_meta_table (type, startingTime, finishingTime) "
    "SELECT msgId % 2, displayTime, displayTime + 3600000 FROM msg_message_table "
    "WHERE isShareDialMessage = 1 ORDER BY msgId;";

constexpr const char* LOG =
    "INSERT INTO temp_log (time_stamp, data1, data2, data3) "
    "SELECT datetime(displayTime / 1000, 'unixepoch'), 'send failed', peerGroupChatSender, "
    "'message ' || msgId FROM msg_message_table WHERE networkStatus = 3 ORDER BY msgId LIMIT 50;";

constexpr const char* INSERT_SIM =
    "INSERT INTO msg_sim_table (simIndex, storageId, Imsi, Address, customInt) "
    "VALUES (?, 1, ?, ?, 0);";

void add_sims(Chance& chance) {
  int index = 0;
  for (const std::string number : OWN_NUMBERS) {
    // 001 01 is the network of tests.
    const std::string imsi = "00101" + std::to_string(chance.between(100000000, 999999999)) + "0";
    const auto statement = helpers::compile(INSERT_SIM, CANNOT_WRITE);
    helpers::bind_all(*statement, ++index, imsi, number);
    helpers::run(*statement, CANNOT_WRITE);
  }
}

}  // namespace

void fill_other_tables(Chance& chance) {
  for (const char* const text : {FILE_TRANSFERS, QUEUED_TRANSFERS, CONTENTS_ON_THE_NETWORK,
                                 DELETED_MESSAGES, TRANSACTIONS, RESPONSES, SHARING_TIMES, LOG}) {
    helpers::execute(text, CANNOT_WRITE);
  }
  add_sims(chance);
  const auto notification = static_cast<unsigned long long>(chance.between(1, 5000));
  helpers::StoreWriter().updateSubscription(notification, "restart-" + token(chance, 24));
}

}  // namespace msg_tarvel::tool
