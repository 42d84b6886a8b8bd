// msg-tarvel query: the library's queries as they are, quirks included.

#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "commands/query_arguments.h"
#include "commands/query_names.h"
#include "exit_status.h"
#include "print/item_json.h"
#include "print/remark.h"
#include "print/table.h"
#include "store/log_sink.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

/** What a query gave: a result code, and items that are made into JSON one by one. */
struct Answer {
  int result = db::DB_SUCCESS;
  std::size_t count = 0;
  std::function<Json(std::size_t)> item;
};

struct Query {
  const char* name;
  const char* arguments;
  std::size_t fewest;
  std::size_t most;
  std::function<Answer(const QueryArguments&)> run;
};

constexpr std::size_t ANY_NUMBER = 1000000;

template <typename Item>
Answer answer_of(int result, std::vector<Item> items) {
  const auto kept = std::make_shared<std::vector<Item>>(std::move(items));
  return {result, kept->size(), [kept](std::size_t i) { return tool::to_json((*kept)[i]); }};
}

Answer answer_of(int result, Json item) {
  if (result != db::DB_SUCCESS) return {result, 0, nullptr};
  return {result, 1, [item = std::move(item)](std::size_t) { return item; }};
}

/** Of a list query without arguments. */
template <typename Item>
std::function<Answer(const QueryArguments&)> list(int (*query)(std::vector<Item>&)) {
  return [query](const QueryArguments&) {
    std::vector<Item> items;
    const int result = query(items);
    return answer_of(result, std::move(items));
  };
}

/** Of a list query that takes an id. */
template <typename Item>
std::function<Answer(const QueryArguments&)> list_by_id(int (*query)(int, std::vector<Item>&)) {
  return [query](const QueryArguments& arguments) {
    std::vector<Item> items;
    const int result = query(arguments.number(0), items);
    return answer_of(result, std::move(items));
  };
}

/** Of a list query that takes a flag. */
template <typename Item>
std::function<Answer(const QueryArguments&)> list_by_flag(int (*query)(bool, std::vector<Item>&)) {
  return [query](const QueryArguments& arguments) {
    std::vector<Item> items;
    const int result = query(arguments.flag(0), items);
    return answer_of(result, std::move(items));
  };
}

Answer get_message(const QueryArguments& arguments) {
  Message message;
  if (arguments.count() == 2) throw UsageError("query: MSGID alone, or ITEMID TYPE FOLDER");
  const int result =
      arguments.count() == 1
          ? db::db_get_message(arguments.number(0), message)
          : db::db_get_message(arguments.number(0), arguments.text(1),
                               static_cast<FolderType>(arguments.number(2)), message);
  return answer_of(result, tool::to_json(message));
}

/** FIELD=VALUE, under the names of ListCondition. */
void set_field(ListCondition& condition, const std::string& word) {
  const std::size_t sign = word.find('=');
  const std::string field = word.substr(0, sign);
  const std::vector<std::string> value = {sign == std::string::npos ? "" : word.substr(sign + 1)};
  const QueryArguments given(value);
  if (field == "readFilter") {
    condition.readFilter = given.number(0);
  } else if (field == "ascending") {
    condition.ascending = given.flag(0);
  } else if (field == "limit") {
    condition.limit = given.number(0);
  } else if (field == "folderType") {
    condition.folderType = given.number(0);
  } else if (field == "storageId") {
    condition.storageId = given.number(0);
  } else if (field == "msgType") {
    condition.msgType = value.front();
  } else if (field == "convIds") {
    const std::vector<std::string> ids = CLI::detail::split(value.front(), ',');
    condition.convIds = QueryArguments(ids).numbers();
  } else {
    throw UsageError("query: a list condition has no field '" + field + "'");
  }
}

Answer get_message_list(const QueryArguments& arguments) {
  ListCondition condition;
  for (std::size_t i = 0; i < arguments.count(); ++i) set_field(condition, arguments.text(i));
  std::vector<Message> messages;
  const int result = db::db_get_message_list(condition, messages);
  return answer_of(result, std::move(messages));
}

Answer get_standalone_messages(const QueryArguments& arguments) {
  std::vector<Message> messages;
  const int result = db::db_get_standalone_messages(arguments.numbers(), messages);
  return answer_of(result, std::move(messages));
}

Answer get_messages_by_time(const QueryArguments& arguments) {
  std::vector<Message> messages;
  const int result = db::db_get_messages_by_time(
      arguments.longNumber(0), static_cast<FolderType>(arguments.number(1)), messages);
  return answer_of(result, std::move(messages));
}

/** ADDRESS[,ADDRESSTYPE[,RECIPIENTTYPE]] */
Address address_of(const std::string& word) {
  const std::vector<std::string> parts = CLI::detail::split(word, ',');
  const QueryArguments given(parts);
  Address address;
  address.address = parts.empty() ? "" : parts.front();
  if (given.count() > 1) address.addressType = given.number(1);
  if (given.count() > 2) address.recipientType = given.number(2);
  return address;
}

Answer check_thread_address_exist(const QueryArguments& arguments) {
  std::vector<Address> addresses;
  for (std::size_t i = 0; i < arguments.count(); ++i) {
    addresses.push_back(address_of(arguments.text(i)));
  }
  int convId = 0;
  const int result = db::db_check_thread_address_exist(addresses, &convId);
  return answer_of(result, Json{{"threadId", convId}});
}

Answer get_thread(const QueryArguments& arguments) {
  Thread thread;
  const int result = db::db_get_thread(arguments.number(0), thread);
  if (result != db::DB_SUCCESS) return {result, 0, nullptr};
  Json json = tool::to_json(thread);
  json["lastMsgId"] = thread.lastMsgId;
  return answer_of(result, std::move(json));
}

Answer get_conversation(const QueryArguments& arguments) {
  Conversation conversation;
  const int result = db::db_get_conversation(arguments.number(0), conversation);
  return answer_of(result, tool::to_json(conversation));
}

Json transfer_json(const Content& content) {
  return {{"msgId", content.msgId},
          {"status", content.status},
          {"filepath", content.filepath},
          {"filename", content.filename}};
}

Answer get_sending_msg_content_info(const QueryArguments& arguments) {
  Content content;
  const int result = db::db_get_sending_msg_content_info(arguments.number(0), content);
  return answer_of(result, transfer_json(content));
}

Answer get_sending_file_content_info(const QueryArguments& arguments) {
  Content content;
  const int result = db::db_get_sending_file_content_info(arguments.text(0), content);
  return answer_of(result, transfer_json(content));
}

Answer get_nms_msg_meta(const QueryArguments& arguments) {
  NmsMsgMeta meta;
  const int result = db::db_get_nms_msg_meta(arguments.number(0),
                                             arguments.count() > 1 ? arguments.text(1) : "", meta);
  return answer_of(result, tool::to_json(meta));
}

Answer has_download_required_message(const QueryArguments& /*none*/) {
  bool hasMessage = false;
  const int result = db::db_has_download_required_message(&hasMessage);
  return answer_of(result, Json{{"hasMessage", hasMessage}});
}

Answer get_uncorrelated_nms_msg_metas(const QueryArguments& arguments) {
  std::vector<NmsMsgMeta> metas;
  const int result = db::db_get_uncorrelated_nms_msg_metas(
      arguments.text(3), static_cast<NmsMsgMeta::CorrelationType>(arguments.number(0)),
      static_cast<NmsMsgMeta::CorrelationIdSearchType>(arguments.number(1)), arguments.flag(2),
      metas);
  return answer_of(result, std::move(metas));
}

Answer get_subscription_info(const QueryArguments& /*none*/) {
  unsigned long long notiIdx = 0;
  std::string restartToken;
  const int result = db::db_get_subscription_info(notiIdx, restartToken);
  return answer_of(result, Json{{"notiIdx", notiIdx}, {"restartToken", restartToken}});
}

const std::vector<Query>& queries() {
  static const std::vector<Query> all = {
      {"db_get_message", "MSGID | ITEMID TYPE FOLDER", 1, 3, get_message},
      {"db_get_message_list", "[FIELD=VALUE]...", 0, ANY_NUMBER, get_message_list},
      {"db_get_standalone_messages", "[ITEMID]...", 0, ANY_NUMBER, get_standalone_messages},
      {"db_get_messages_by_time", "TIME FOLDER", 2, 2, get_messages_by_time},
      {"db_get_unsynced_messages", "", 0, 0, list(&db::db_get_unsynced_messages)},
      {"db_get_deleted_messages", "MAINFOLDERONLY", 1, 1,
       list_by_flag(&db::db_get_deleted_messages)},
      {"db_check_thread_address_exist", "[ADDRESS[,ADDRESSTYPE[,RECIPIENTTYPE]]]...", 0, ANY_NUMBER,
       check_thread_address_exist},
      {"db_get_thread", "CONVID", 1, 1, get_thread},
      {"db_get_threads", "", 0, 0, list(&db::db_get_threads)},
      {"db_get_conversation", "MSGID", 1, 1, get_conversation},
      {"db_get_conversations", "CONVID", 1, 1, list_by_id(&db::db_get_conversations)},
      {"db_get_addresses", "CONVID", 1, 1, list_by_id(&db::db_get_addresses)},
      {"db_get_sim_infos", "", 0, 0, list(&db::db_get_sim_infos)},
      {"db_get_contents", "MSGID", 1, 1, list_by_id(&db::db_get_contents)},
      {"db_get_sending_msg_content_info", "MSGID", 1, 1, get_sending_msg_content_info},
      {"db_get_sending_file_content_info", "PATH", 1, 1, get_sending_file_content_info},
      {"db_get_nms_msg_meta", "MSGID [OBJECTID]", 1, 2, get_nms_msg_meta},
      {"db_has_download_required_message", "", 0, 0, has_download_required_message},
      {"db_get_uncorrelated_nms_msg_metas", "CORRELATIONTYPE SEARCHTYPE ASCENDING CORRELATIONID", 4,
       4, get_uncorrelated_nms_msg_metas},
      {"db_get_sync_required_nms_msg_metas", "DELETED", 1, 1,
       list_by_flag(&db::db_get_sync_required_nms_msg_metas)},
      {"db_get_download_required_nms_msg_metas", "", 0, 0,
       list(&db::db_get_download_required_nms_msg_metas)},
      {"db_get_subscription_info", "", 0, 0, get_subscription_info},
  };
  return all;
}

int list_queries(const Output& output) {
  JsonList list(output.out);
  Table table({{"NAME"}, {"ARGUMENTS"}});
  for (const Query& query : queries()) {
    if (output.json) list.add({{"name", query.name}, {"arguments", query.arguments}});
    table.add({query.name, query.arguments});
  }
  if (output.json) {
    list.end();
  } else {
    table.print(output.out, output.width);
  }
  return FOUND;
}

void print_answer(const Output& output, const Query& query, const Answer& answer) {
  std::ostream& out = output.out;
  JsonList items(out, output.json ? 1 : 0);
  if (output.json) {
    out << "{\n  \"query\": " << json_text(query.name) << ",\n  \"result\": " << answer.result
        << ",\n  \"text\": " << json_text(db::db_error_text(answer.result)) << ",\n  \"items\": ";
  } else {
    out << query.name << ": " << answer.result << " (" << db::db_error_text(answer.result) << "), "
        << answer.count << (answer.count == 1 ? " item" : " items") << "\n";
  }
  for (std::size_t i = 0; i < answer.count; ++i) items.add(answer.item(i));
  items.end();
  if (output.json) out << "}\n";
}

/** A query asks others about the ids that a row has, and passes on that one is out of range. */
bool is_of_a_row(const Query& query, int result) {
  return result == db::DB_ERR_INVALID_ARGUMENT && is_error_of_another(query.name);
}

int status_of(const Query& query, int result) {
  switch (result) {
    case db::DB_SUCCESS:
      return FOUND;
    case db::DB_NO_DATA:
      return NOTHING_FOUND;
    case db::DB_ERR_INVALID_ARGUMENT:
    case db::DB_ERR_INVALID_PARAM:
      return is_of_a_row(query, result) ? FAILED : USAGE_ERROR;
    default:
      return FAILED;
  }
}

std::string failure_of(const Query& query, int result) {
  const char* const why =
      is_of_a_row(query, result) ? "the store has an id out of range" : db::db_error_text(result);
  return with_log_failure(std::string(query.name) + ": " + why);
}

int run_query(const Output& output, const std::vector<std::string>& words) {
  if (words.empty()) return list_queries(output);
  const auto query = std::find_if(queries().begin(), queries().end(),
                                  [&words](const Query& one) { return words.front() == one.name; });
  if (query == queries().end()) {
    throw UsageError("query: the library has no '" + words.front() +
                     "'; 'msg-tarvel query' lists what it has");
  }
  const std::vector<std::string> rest(words.begin() + 1, words.end());
  if (rest.size() < query->fewest || rest.size() > query->most) {
    throw UsageError("query: " + std::string(query->name) + " takes " +
                     (*query->arguments ? query->arguments : "no arguments"));
  }
  const StoreView view;
  const Answer answer = query->run(QueryArguments(rest));
  print_answer(output, *query, answer);
  const int status = status_of(*query, answer.result);
  if (status != FOUND) remark(failure_of(*query, answer.result));
  return status;
}

}  // namespace

std::vector<std::string> query_names() {
  std::vector<std::string> names;
  for (const Query& query : queries()) names.emplace_back(query.name);
  return names;
}

void declare_query(CommandSet& commands) {
  const auto words = std::make_shared<std::vector<std::string>>();
  commands
      .add("query", "Asks one of the library's queries, and prints what it gives",
           "msg-tarvel query db_get_message_list folderType=1 readFilter=0 limit=20\n\n"
           "Without a name: lists the queries. Items are as the query fills them; numbers stand\n"
           "for folders and types. A negative number is written as any other: query NAME -2.",
           [words](const Output& output) { return run_query(output, *words); })
      .add_option("QUERY", *words, "The query's name, and behind it its arguments")
      ->type_name("NAME [ARG...]");
}

}  // namespace msg_tarvel::tool
