#include "print/items.h"

#include <ctime>
#include <ostream>

#include "print/item_json.h"
#include "print/table.h"

namespace msg_tarvel::tool {

namespace {

/** Local time; a time that no calendar has, as it is stored. */
std::string local_time(long long milliseconds) {
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm parts = {};
  char text[32];
  if (seconds != milliseconds / 1000 || !localtime_r(&seconds, &parts) ||
      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts) == 0) {
    return std::to_string(milliseconds);
  }
  return text;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : ", ") + text;
  return result;
}

std::string names_of(const std::vector<Address>& addresses) {
  std::vector<std::string> names;
  for (const Address& address : addresses) {
    if (!address.address.empty()) names.push_back(address.address);
  }
  return names.empty() ? "(no address)" : joined(names);
}

std::string folder_name(int folder) {
  switch (folder) {
    case MAIN_FOLDER_1:
    case STANDALONE_FOLDER_1:
      return "inbox";
    case MAIN_FOLDER_2:
    case STANDALONE_FOLDER_2:
      return "outbox";
    case MAIN_FOLDER_3:
    case STANDALONE_FOLDER_3:
      return "sent";
    case MAIN_FOLDER_4:
    case STANDALONE_FOLDER_4:
      return "draft";
    default:
      return std::to_string(folder);
  }
}

std::string network_state(int networkStatus) {
  if (networkStatus == 1) return "sending";
  return networkStatus == 3 ? "failed" : "";
}

template <typename Item>
std::string state_of(const Item& message) {
  std::string state = network_state(message.networkStatus);
  if (!state.empty()) return state;
  return message.read ? "" : "unread";
}

std::string attachment_mark(const Content& content) {
  if (content.hasFile) return "[" + content.contentType + "]";
  return content.status != 0 ? "[" + content.contentType + " missing]" : "";
}

/** What a message says, and in brackets what is attached. */
template <typename Item>
std::string text_with_attachments(const Item& message) {
  std::string text = message.mainText;
  for (const Content& content : message.contents) {
    const std::string mark = attachment_mark(content);
    if (!mark.empty()) text += (text.empty() ? "" : " ") + mark;
  }
  return text;
}

std::string sender_name(const std::string& groupSender, int folder,
                        const std::vector<Address>& addresses) {
  if (folder != MAIN_FOLDER_1 && folder != STANDALONE_FOLDER_1) return "me";
  return groupSender.empty() ? names_of(addresses) : groupSender;
}

}  // namespace

void print_threads(const Output& output, const std::vector<ListedThread>& threads) {
  if (output.json) {
    print_json(output, to_json_list(threads));
    return;
  }
  if (threads.empty()) {
    output.out << "The store has no conversations.\n";
    return;
  }
  Table table({{"ID", 0, true},
               {"WITH", 12},
               {"MSGS", 0, true},
               {"UNREAD", 0, true},
               {"STATE", 3},
               {"LAST", 10},
               {"TEXT", 8}});
  for (const ListedThread& listed : threads) {
    const Thread& thread = listed.thread;
    std::vector<std::string> states;
    if (thread.failed) states.emplace_back("failed");
    if (thread.sending) states.emplace_back("sending");
    table.add({std::to_string(thread.convId), names_of(listed.addresses),
               std::to_string(thread.msgCnt), std::to_string(thread.unreadCnt), joined(states),
               local_time(thread.displayTime),
               thread.mainText.empty() ? "[" + thread.msgType + "]" : thread.mainText});
  }
  table.print(output.out, output.width);
}

void print_thread(const Output& output, const ListedThread& listed) {
  if (!output.json) {
    print_threads(output, {listed});
    return;
  }
  Json json = to_json(listed);
  json["lastMsgId"] = listed.thread.lastMsgId;
  print_json(output, json);
}

void print_conversation(const Output& output, const std::vector<Conversation>& messages,
                        const std::vector<Address>& addresses) {
  if (output.json) {
    print_json(output, to_json_list(messages));
    return;
  }
  Table table({{"ID", 0, true}, {"TIME", 10}, {"FROM", 8}, {"BOX", 5}, {"STATE", 3}, {"TEXT", 8}});
  for (const Conversation& message : messages) {
    table.add({std::to_string(message.msgId), local_time(message.displayTime),
               sender_name(message.peerGroupChatSender, message.storageFolder, addresses),
               folder_name(message.storageFolder), state_of(message),
               text_with_attachments(message)});
  }
  table.print(output.out, output.width);
}

void print_messages(const Output& output, const std::vector<Message>& messages) {
  if (output.json) {
    print_json(output, to_json_list(messages));
    return;
  }
  Table table({{"ID", 0, true},
               {"CONV", 0, true},
               {"TIME", 10},
               {"FROM", 8},
               {"BOX", 5},
               {"STATE", 3},
               {"TEXT", 8}});
  for (const Message& message : messages) {
    table.add({std::to_string(message.msgId), std::to_string(message.convId),
               local_time(message.displayTime),
               sender_name(message.peerGroupChatSender, message.storageFolder, message.addresses),
               folder_name(message.storageFolder), state_of(message),
               text_with_attachments(message)});
  }
  table.print(output.out, output.width);
}

}  // namespace msg_tarvel::tool
