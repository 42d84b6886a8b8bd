// The newest twenty unread messages of the conversations that are named on the command line.

#include <msg-tarvel-common/msg-tarvel-common.h>
#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
  msg_tarvel::ListCondition condition;
  condition.folderType = msg_tarvel::MAIN_FOLDER_1;  // the read filter is heeded in this folder
  condition.readFilter = 0;
  condition.limit = 20;
  for (int i = 1; i < argc; ++i) condition.convIds.push_back(std::atoi(argv[i]));

  msg_tarvel::db::init_db();
  std::vector<msg_tarvel::Message> messages;
  const int ret = msg_tarvel::db::db_get_message_list(condition, messages);
  for (const msg_tarvel::Message& message : messages) {
    const std::string from = message.addresses.empty() ? "?" : message.addresses.front().address;
    std::cout << from << ": " << message.mainText << "\n";
  }
  msg_tarvel::db::deinit_db();

  if (ret == msg_tarvel::db::DB_NO_DATA) std::cout << "nothing unread\n";
  return ret == msg_tarvel::db::DB_SUCCESS || ret == msg_tarvel::db::DB_NO_DATA ? 0 : 1;
}
