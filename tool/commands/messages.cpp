// msg-tarvel messages, conversation and message

#include <memory>
#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "filter/message_filter.h"
#include "filter/whole_number.h"
#include "print/items.h"
#include "print/remark.h"
#include "store/read_items.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

int list_messages(const Output& output, const MessageFilter& filter) {
  const StoreView view;
  MatchingMessages matching(filter);
  MessageList list(output);
  bool isEmpty = true;
  while (const auto msgId = matching.next()) {
    Message message;
    const auto asked = static_cast<int>(*msgId);
    // The library would give the message whose id ends in the same 32 bits.
    if (asked != *msgId || !read_message(asked, message)) continue;
    list.add(message);
    isEmpty = false;
  }
  list.end();
  return isEmpty ? nothing_found("the store has no such message") : FOUND;
}

int show_messages(const Output& output, const std::vector<int>& msgIds) {
  const StoreView view;
  MessagePages pages(output);
  std::string missing;
  for (const int msgId : msgIds) {
    Message message;
    if (read_message(msgId, message)) {
      pages.add(message);
    } else {
      missing += (missing.empty() ? "" : ", ") + std::to_string(msgId);
    }
  }
  pages.end();
  return missing.empty() ? FOUND : nothing_found("the store has no message " + missing);
}

}  // namespace

void declare_messages(CommandSet& commands) {
  const auto filter = std::make_shared<MessageFilter>();
  CLI::App& app =
      commands.add("messages", "Lists messages, newest first",
                   "msg-tarvel messages --with \"(415) 555-0111\" --since 7d --unread",
                   [filter](const Output& output) { return list_messages(output, *filter); });
  declare_filter(app, *filter);
  app.add_flag("--ascending", filter->ascending, "Oldest first");
}

void declare_conversation(CommandSet& commands) {
  const auto filter = std::make_shared<MessageFilter>();
  filter->ascending = true;
  filter->conversations.resize(1);
  CLI::App& app = commands.add(
      "conversation", "Lists the messages of a conversation, oldest first",
      "msg-tarvel conversation 3 --unread\n\nThe same as messages --conv 3 --ascending --unread.",
      [filter](const Output& output) { return list_messages(output, *filter); });
  app.add_option("ID", filter->conversations.front(), "The conversation, as 'threads' lists it")
      ->required()
      ->check(whole_number(0));
  declare_filter_within_conversation(app, *filter);
}

void declare_message(CommandSet& commands) {
  const auto msgIds = std::make_shared<std::vector<int>>();
  commands
      .add("message", "Shows all of a message", "msg-tarvel message 3",
           [msgIds](const Output& output) { return show_messages(output, *msgIds); })
      .add_option("ID", *msgIds, "The message, as 'messages' lists it")
      ->required()
      ->check(whole_number(0));
}

}  // namespace msg_tarvel::tool
