// msg-tarvel messages

#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/item/ListCondition.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "commands/folder_names.h"
#include "exit_status.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "print/items.h"
#include "store/log_sink.h"
#include "store/store.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

/** The library cuts a condition at 1,023 characters; folders, order and limit take below 223. */
constexpr std::size_t CONDITION_ROOM = 800;

struct MessagesArguments {
  ListCondition condition;
  /** A number or a name, in the place of the condition's. */
  std::string folderType;
};

ListCondition condition_of(const MessagesArguments& arguments) {
  ListCondition condition = arguments.condition;
  if (!arguments.folderType.empty()) condition.folderType = folder_type_of(arguments.folderType);
  // The query joins an id that repeats the last one with its neighbour.
  std::sort(condition.convIds.begin(), condition.convIds.end());
  condition.convIds.erase(std::unique(condition.convIds.begin(), condition.convIds.end()),
                          condition.convIds.end());
  return condition;
}

void check_condition(const ListCondition& condition) {
  if (condition.msgType.find('\'') != std::string::npos) {
    throw UsageError("--msg-type: a quote cannot be part of a type");
  }
  std::size_t room = condition.msgType.size();
  for (const int convId : condition.convIds) room += std::to_string(convId).size() + 1;
  if (room > CONDITION_ROOM) {
    throw UsageError("--conv-ids: too many; the query takes about 800 characters of them");
  }
}

int list_messages(const Output& output, const MessagesArguments& arguments) {
  const ListCondition condition = condition_of(arguments);
  check_condition(condition);
  const StoreView view;
  forget_log_errors();
  std::vector<Message> list;
  const bool found = is_found(db::db_get_message_list(condition, list), helpers::CANNOT_READ);
  // The fields of a list from the sticker on are each one column late; a single message has them
  // right, and the sender of a group's message too.
  std::vector<Message> messages;
  for (const Message& entry : list) {
    Message message;
    if (is_found(db::db_get_message(entry.msgId, message), helpers::CANNOT_READ)) {
      messages.push_back(std::move(message));
    }
  }
  if (found || output.json) print_messages(output, messages);
  return found ? FOUND : NOTHING_FOUND;
}

}  // namespace

void declare_messages(CommandSet& commands) {
  const auto arguments = std::make_shared<MessagesArguments>();
  ListCondition& condition = arguments->condition;
  CLI::App& app =
      commands.add("messages", "Lists messages, newest first",
                   "msg-tarvel messages --read-filter 0 --limit 20 --folder-type MAIN_FOLDER_1 "
                   "--conv-ids 1,2",
                   [arguments](const Output& output) { return list_messages(output, *arguments); });
  app.add_option("--read-filter", condition.readFilter,
                 "1: only read, another number: only unread, -1: all (the default); heeded in "
                 "MAIN_FOLDER_1 and FOLDER_PAIR_1")
      ->type_name("N");
  app.add_flag("--ascending", condition.ascending, "Oldest first");
  app.add_option("--limit", condition.limit, "At most so many; 0: all (the default)")
      ->type_name("N");
  app.add_option("--folder-type", arguments->folderType,
                 "A number or name of FolderType (default: ALL_FOLDERS)")
      ->type_name("FOLDER");
  app.add_option("--storage-id", condition.storageId, "Only of this storage, if above 0")
      ->type_name("N");
  app.add_option("--msg-type", condition.msgType, "Only of this type, such as sms or mms")
      ->type_name("TEXT");
  app.add_option("--conv-ids", condition.convIds, "Only of these conversations")
      ->type_name("ID[,ID...]")
      ->delimiter(',')
      ->allow_extra_args(false);
}

}  // namespace msg_tarvel::tool
