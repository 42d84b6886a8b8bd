#include "print/items.h"

#include <ostream>

#include "filter/folder_words.h"
#include "helpers/folders.h"
#include "helpers/network_status.h"
#include "print/item_json.h"
#include "print/local_time.h"
#include "print/printable.h"

namespace msg_tarvel::tool {

namespace {

/** Those that are not empty. */
std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) {
    if (!text.empty()) result += (result.empty() ? "" : ", ") + text;
  }
  return result;
}

std::string names_of(const std::vector<Address>& addresses) {
  std::vector<std::string> names;
  names.reserve(addresses.size());
  for (const Address& address : addresses) names.push_back(address.address);
  const std::string all = joined(names);
  return all.empty() ? "(no address)" : all;
}

std::string network_state(int networkStatus) {
  if (networkStatus == helpers::NETWORK_SENDING) return "sending";
  return networkStatus == helpers::NETWORK_FAILED ? "failed" : "";
}

std::string state_of(const Message& message) {
  std::string state = network_state(message.networkStatus);
  if (!state.empty()) return state;
  return message.read || !helpers::is_inbox(message.storageFolder) ? "" : "unread";
}

std::string attachment_mark(const Content& content) {
  if (content.hasFile) return "[" + content.contentType + "]";
  return content.status != 0 ? "[" + content.contentType + " missing]" : "";
}

/** Subject and text; often the one stands for the other, or for its beginning. */
std::string subject_and_text(const std::string& mainText, const std::string& text) {
  if (text.empty()) return mainText;
  if (text.rfind(mainText, 0) == 0) return text;
  return mainText + ": " + text;
}

/** What a message says, and in brackets what is attached. */
std::string text_with_attachments(const Message& message) {
  std::string text = subject_and_text(message.mainText, message.textMessage);
  for (const Content& content : message.contents) {
    const std::string mark = attachment_mark(content);
    if (!mark.empty()) text += (text.empty() ? "" : " ") + mark;
  }
  return text;
}

/** Who wrote, and for what is not received also to whom. */
std::string correspondents(const Message& message) {
  if (!helpers::is_inbox(message.storageFolder)) return "me to " + names_of(message.addresses);
  return message.peerGroupChatSender.empty() ? names_of(message.addresses)
                                             : message.peerGroupChatSender;
}

/** A table's columns, by their place. */
namespace thread_column {
enum { ID, WITH, MSGS, UNREAD, STATE, LAST, TEXT };
}
namespace message_column {
enum { ID, CONV, TIME, FROM, BOX, STATE, TEXT };
}

constexpr int DAY_ALONE = 11;

}  // namespace

ThreadList::ThreadList(const Output& output)
    : _output(output),
      _json(output.out),
      _table(
          {{"ID", true}, {"WITH"}, {"MSGS", true}, {"UNREAD", true}, {"STATE"}, {"LAST"}, {"TEXT"}},
          {{thread_column::TEXT, 20},
           {thread_column::WITH, 16},
           {thread_column::STATE, 7, true},
           {thread_column::TEXT, 14},
           {thread_column::LAST, DAY_ALONE, true},
           {thread_column::WITH, 12},
           {thread_column::TEXT, 8},
           {thread_column::MSGS, 0},
           {thread_column::LAST, 0},
           {thread_column::STATE, 4}}) {}

void ThreadList::add(const ListedThread& listed) {
  if (_output.json) {
    _json.add(to_json(listed));
    return;
  }
  const Thread& thread = listed.thread;
  std::vector<std::string> states;
  if (thread.failed) states.emplace_back("failed");
  if (thread.sending) states.emplace_back("sending");
  const std::string text = subject_and_text(thread.mainText, thread.msgText);
  _table.add({std::to_string(thread.convId), names_of(listed.addresses),
              std::to_string(thread.msgCnt), std::to_string(thread.unreadCnt), joined(states),
              local_time(thread.displayTime), text.empty() ? "[" + thread.msgType + "]" : text});
}

void ThreadList::end() {
  if (_output.json) {
    _json.end();
  } else if (!_table.empty()) {
    _table.print(_output.out, _output.width);
  }
}

MessageList::MessageList(const Output& output)
    : _output(output),
      _json(output.out),
      _table({{"ID", true}, {"CONV", true}, {"TIME"}, {"FROM"}, {"BOX"}, {"STATE"}, {"TEXT"}},
             {{message_column::TEXT, 24},
              {message_column::FROM, 18},
              {message_column::BOX, 0},
              {message_column::TEXT, 18},
              {message_column::TIME, DAY_ALONE, true},
              {message_column::CONV, 0},
              {message_column::FROM, 12},
              {message_column::TEXT, 8},
              {message_column::TIME, 0},
              {message_column::STATE, 4}}) {}

void MessageList::add(const Message& message) {
  if (_output.json) {
    _json.add(to_json(message));
    return;
  }
  _table.add({std::to_string(message.msgId), std::to_string(message.convId),
              local_time(message.displayTime), correspondents(message),
              folder_word(message.storageFolder), state_of(message),
              text_with_attachments(message)});
}

void MessageList::end() {
  if (_output.json) {
    _json.end();
  } else if (!_table.empty()) {
    _table.print(_output.out, _output.width);
  }
}

void MessagePages::add(const Message& message) {
  if (_output.json) {
    _json.add(to_json(message));
    return;
  }
  const auto line = [this](const char* name, const std::string& value) {
    if (!value.empty()) _output.out << "  " << name << printable(value) << "\n";
  };
  if (!_isEmpty) _output.out << "\n";
  _isEmpty = false;
  _output.out << "Message " << message.msgId << " of conversation " << message.convId << "\n";
  const bool isReceived = helpers::is_inbox(message.storageFolder);
  line("time     ", local_time(message.displayTime, "%Y-%m-%d %H:%M:%S %z"));
  line("from     ", isReceived ? correspondents(message) : "me");
  line("to       ", isReceived ? "" : names_of(message.addresses));
  line("with     ",
       isReceived && !message.peerGroupChatSender.empty() ? names_of(message.addresses) : "");
  line("type     ", message.msgType);
  line("folder   ",
       folder_word(message.storageFolder) + " (" + std::to_string(message.storageFolder) + ")");
  line("state    ", state_of(message));
  line("SIM      ", message.simIndex < 0 ? "" : std::to_string(message.simIndex));
  const bool hasSubject = !message.textMessage.empty() && message.mainText != message.textMessage;
  line("subject  ", hasSubject ? message.mainText : "");
  line("text     ", message.textMessage.empty() ? message.mainText : message.textMessage);
  for (const Content& content : message.contents) {
    line("part     ", joined({content.contentType, content.filename, content.filepath,
                              content.textData, attachment_mark(content)}));
  }
}

void MessagePages::end() {
  if (_output.json) _json.end();
}

}  // namespace msg_tarvel::tool
