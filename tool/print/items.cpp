#include "print/items.h"

#include <ctime>
#include <nlohmann/json.hpp>
#include <ostream>

#include "print/printable.h"
#include "print/table.h"

namespace msg_tarvel::tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t MOST_REPORT_LINES = 20;

// JSON: every field as it is stored, under its name in the item classes.

Json to_json(const Address& address);
Json to_json(const Content& content);
Json to_json(const Conversation& message);
Json to_json(const Message& message);
Json to_json(const ListedThread& listed);

Json to_json(const Address& address) {
  return {{"convId", address.convId},
          {"addressType", address.addressType},
          {"recipientType", address.recipientType},
          {"address", address.address},
          {"userFlag", address.userFlag}};
}

Json to_json(const Content& content) {
  return {{"msgId", content.msgId},
          {"slideIdx", content.slideIdx},
          {"attachType", content.attachType},
          {"hasFile", content.hasFile},
          {"contentType", content.contentType},
          {"mediaType", content.mediaType},
          {"status", content.status},
          {"textData", content.textData},
          {"filepath", content.filepath},
          {"filename", content.filename},
          {"thumbpath", content.thumbpath},
          {"peer_filepath", content.peer_filepath},
          {"peer_copied_filepath", content.peer_copied_filepath}};
}

Json to_json(const NmsMsgMeta& meta) {
  return {{"msgId", meta.msgId},
          {"objectId", meta.objectId},
          {"resourceURL", meta.resourceURL},
          {"primaryId", meta.primaryId},
          {"secondaryId", meta.secondaryId},
          {"lastModSeq", meta.lastModSeq},
          {"msgTime", meta.msgTime},
          {"BTCorrelated", meta.BTCorrelated},
          {"MSSICorrelated", meta.MSSICorrelated},
          {"MSSISync", meta.MSSISync},
          {"deleted", meta.deleted},
          {"downloadRequired", meta.downloadRequired}};
}

template <typename Item>
Json to_json_list(const std::vector<Item>& items) {
  Json list = Json::array();
  for (const Item& item : items) list.push_back(to_json(item));
  return list;
}

/** The fields that a Message and a Conversation share. */
template <typename Item>
Json message_fields(const Item& message) {
  return {{"msgId", message.msgId},
          {"convId", message.convId},
          {"itemId", message.itemId},
          {"msgType", message.msgType},
          {"storageFolder", message.storageFolder},
          {"storageId", message.storageId},
          {"networkStatus", message.networkStatus},
          {"simIndex", message.simIndex},
          {"displayTime", message.displayTime},
          {"read", message.read},
          {"isSafeMessage", message.isSafeMessage},
          {"isShareDialMessage", message.isShareDialMessage},
          {"attachedNum", message.attachedNum},
          {"stickerId", message.stickerId},
          {"mainText", message.mainText},
          {"textMessage", message.textMessage},
          {"peerConvId", message.peerConvId},
          {"peerChatType", message.peerChatType},
          {"peerChatSessionId", message.peerChatSessionId},
          {"peerGroupChatSender", message.peerGroupChatSender},
          {"contents", to_json_list(message.contents)}};
}

Json to_json(const Conversation& message) { return message_fields(message); }

Json to_json(const Message& message) {
  Json json = message_fields(message);
  json["addresses"] = to_json_list(message.addresses);
  json["nmsMsgMeta"] = message.hasNmsMsgMeta() ? to_json(message.nmsMsgMeta) : Json(nullptr);
  return json;
}

Json to_json(const ListedThread& listed) {
  const Thread& thread = listed.thread;
  return {{"convId", thread.convId},
          {"peerConvId", thread.peerConvId},
          {"unreadCnt", thread.unreadCnt},
          {"msgCnt", thread.msgCnt},
          {"sending", thread.sending},
          {"failed", thread.failed},
          {"storageFolder", thread.storageFolder},
          {"networkStatus", thread.networkStatus},
          {"simIndex", thread.simIndex},
          {"displayTime", thread.displayTime},
          {"stickerId", thread.stickerId},
          {"msgType", thread.msgType},
          {"mainText", thread.mainText},
          {"msgText", thread.msgText},
          {"peerChatType", thread.peerChatType},
          {"peerChatState", thread.peerChatState},
          {"addresses", to_json_list(listed.addresses)}};
}

/** Bytes that are not UTF-8 become replacement characters. */
void print_json(std::ostream& out, const Json& json) {
  out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

// Tables

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
    print_json(output.out, to_json_list(threads));
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
  print_json(output.out, json);
}

void print_conversation(const Output& output, const std::vector<Conversation>& messages,
                        const std::vector<Address>& addresses) {
  if (output.json) {
    print_json(output.out, to_json_list(messages));
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
    print_json(output.out, to_json_list(messages));
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

void print_created(const Output& output, const std::string& path, bool isNew) {
  if (output.json) {
    print_json(output.out, {{"path", path}, {"created", isNew}});
  } else {
    output.out << (isNew ? "created " : "complete already: ") << path << "\n";
  }
}

void print_summary(const Output& output, const ImportSummary& summary) {
  Json reports = Json::array();
  for (const PartReport& report : summary.reports) {
    reports.push_back({{"line", report.line},
                       {"part", report.part},
                       {"contentType", report.contentType},
                       {"problem", report.problem}});
  }
  if (output.json) {
    Json skipped = Json::object();
    for (const auto& [reason, count] : summary.skipped) skipped[reason] = count;
    print_json(output.out, {{"read", summary.read},
                            {"stored", summary.stored},
                            {"skipped", summary.skippedInAll()},
                            {"skippedBecause", skipped},
                            {"partsStored", summary.partsStored},
                            {"partsReported", summary.partsReported},
                            {"reports", reports},
                            {"conversationsCreated", summary.conversationsCreated}});
    return;
  }
  output.out << "read:    " << summary.read << "\nstored:  " << summary.stored
             << "\nskipped: " << summary.skippedInAll() << "\n";
  for (const auto& [reason, count] : summary.skipped) {
    output.out << "  " << count << ": " << printable(reason) << "\n";
  }
  output.out << "conversations created: " << summary.conversationsCreated
             << "\nparts:   " << summary.partsStored << " stored, " << summary.partsReported
             << " of them reported\n";
  for (std::size_t i = 0; i < summary.reports.size() && i < MOST_REPORT_LINES; ++i) {
    const PartReport& report = summary.reports[i];
    output.out << "  line " << report.line << ", part " << report.part << " ("
               << printable(report.contentType) << "): " << report.problem << "\n";
  }
  if (summary.partsReported > static_cast<long>(MOST_REPORT_LINES)) {
    output.out << "  and " << summary.partsReported - static_cast<long>(MOST_REPORT_LINES)
               << " more\n";
  }
}

}  // namespace msg_tarvel::tool
