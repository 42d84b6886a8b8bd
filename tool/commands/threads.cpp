// msg-tarvel threads, conversation and find-thread

#include <msg-tarvel-common/db/db_common_funcs.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "helpers/conversation_search.h"
#include "helpers/same_address.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "print/items.h"
#include "store/log_sink.h"
#include "store/store.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

struct ConversationArguments {
  int convId = 0;
};

struct FindThreadArguments {
  std::vector<std::string> numbers;
};

std::vector<Address> addresses_of(int convId) {
  std::vector<Address> addresses;
  is_found(db::db_get_addresses(convId, addresses), helpers::CANNOT_READ);
  return addresses;
}

int list_threads(const Output& output) {
  const StoreView view;
  forget_log_errors();
  std::vector<Thread> threads;
  const bool found = is_found(db::db_get_threads(threads), helpers::CANNOT_READ);
  std::vector<ListedThread> listed;
  listed.reserve(threads.size());
  for (const Thread& thread : threads) listed.push_back({thread, addresses_of(thread.convId)});
  print_threads(output, listed);
  return found ? FOUND : NOTHING_FOUND;
}

int show_conversation(const Output& output, const ConversationArguments& arguments) {
  const StoreView view;
  forget_log_errors();
  std::vector<Conversation> messages;
  const bool found =
      is_found(db::db_get_conversations(arguments.convId, messages), helpers::CANNOT_READ);
  if (found || output.json) {
    print_conversation(output, messages,
                       found ? addresses_of(arguments.convId) : std::vector<Address>());
  }
  return found ? FOUND : NOTHING_FOUND;
}

/** Finds the conversation with exactly these people, their numbers written in any way. */
int find_thread(const Output& output, const FindThreadArguments& arguments) {
  const StoreView view;
  const std::vector<std::string> people = helpers::people_among(arguments.numbers);
  forget_log_errors();
  const int convId = helpers::find_conversation(people);
  if (convId == 0) return NOTHING_FOUND;

  forget_log_errors();
  Thread thread;
  if (!is_found(db::db_get_thread(convId, thread), helpers::CANNOT_READ)) return NOTHING_FOUND;
  ListedThread listed{thread, addresses_of(convId)};
  listed.thread.lastMsgId = thread.lastMsgId;
  print_thread(output, listed);
  return FOUND;
}

}  // namespace

void declare_threads(CommandSet& commands) {
  commands.add("threads", "Lists the conversations, newest first", "msg-tarvel threads",
               list_threads);
}

void declare_conversation(CommandSet& commands) {
  const auto arguments = std::make_shared<ConversationArguments>();
  commands
      .add("conversation", "Shows the messages of a conversation, oldest first",
           "msg-tarvel conversation 3",
           [arguments](const Output& output) { return show_conversation(output, *arguments); })
      .add_option("ID", arguments->convId, "The conversation, as 'threads' lists it")
      ->required()
      ->check(CLI::Range(0, INT_MAX));
}

void declare_find_thread(CommandSet& commands) {
  const auto arguments = std::make_shared<FindThreadArguments>();
  commands
      .add("find-thread", "Finds the conversation with exactly these people",
           "msg-tarvel find-thread \"(415) 555-0111\" +14155550145",
           [arguments](const Output& output) { return find_thread(output, *arguments); })
      .add_option("NUMBER", arguments->numbers,
                  "A phone number in any form, an e-mail address or a name")
      ->required();
}

}  // namespace msg_tarvel::tool
