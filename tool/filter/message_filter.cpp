#include "filter/message_filter.h"

#include <glib.h>
#include <msg-tarvel-common/item/FolderType.h>

#include <algorithm>
#include <functional>
#include <map>

#include "exit_status.h"
#include "filter/folder_words.h"
#include "filter/time_words.h"
#include "filter/whole_number.h"
#include "helpers/network_status.h"
#include "helpers/same_address.h"
#include "helpers/store_error.h"
#include "print/printable.h"
#include "store/device_settings.h"
#include "store/read_items.h"

namespace msg_tarvel::tool {

namespace {

using helpers::CANNOT_READ;

/** The texts of a message that a search looks into, in the columns behind its id. */
constexpr int FIRST_TEXT = 1;
constexpr int LAST_TEXT = 3;
// Between the parts stands a character that no search has.
constexpr const char* SELECT_TEXTS =
    "SELECT msgId, mainText, textMessage, (SELECT group_concat(textData, char(1)) FROM "
    "msg_mms_content_table WHERE msgId = msg_message_table.msgId) FROM msg_message_table WHERE ";
constexpr const char* SELECT_IDS = "SELECT msgId FROM msg_message_table WHERE ";

/** What `check` throws as the text that CLI11 expects of a validator. */
template <typename Check>
std::function<std::string(const std::string&)> validated(const Check& check) {
  return [check](const std::string& word) {
    try {
      check(word);
      return std::string();
    } catch (const UsageError& error) {
      return std::string(error.what());
    }
  };
}

/** Without the differences between upper and lower case. */
std::string folded(const std::string& text) {
  const std::string valid = printable(text);
  const std::unique_ptr<char, decltype(&g_free)> normal(
      g_utf8_normalize(valid.c_str(), -1, G_NORMALIZE_ALL), &g_free);
  const std::unique_ptr<char, decltype(&g_free)> result(g_utf8_casefold(normal.get(), -1), &g_free);
  return result.get();
}

template <typename Number>
std::string listed(const std::vector<Number>& numbers) {
  std::string list;
  for (const Number number : numbers) list += (list.empty() ? "" : ", ") + std::to_string(number);
  return list;
}

/** The conversations in which everyone takes part. */
std::vector<long long> conversations_with(const std::vector<std::string>& numbers) {
  const std::vector<std::string> people = helpers::people_among(numbers);
  std::map<long long, std::vector<bool>> met;
  const auto rows = helpers::compile("SELECT convId, address FROM msg_address_table;", CANNOT_READ);
  while (helpers::next_row(*rows, CANNOT_READ)) {
    const std::string address = helpers::normalised_address(rows->getText(1));
    for (std::size_t i = 0; i < people.size(); ++i) {
      if (!helpers::is_same_address(people[i], address)) continue;
      auto& ofConversation = met[rows->getInt64(0)];
      ofConversation.resize(people.size());
      ofConversation[i] = true;
    }
  }
  std::vector<long long> conversations;
  for (const auto& [conversation, people_met] : met) {
    if (std::find(people_met.begin(), people_met.end(), false) == people_met.end()) {
      conversations.push_back(conversation);
    }
  }
  return conversations;
}

std::string conditions_of(const MessageFilter& filter) {
  if (!filter.people.empty()) require_settings();
  std::string conditions = folder_condition(filter.folder);
  const auto add = [&conditions](const std::string& one) { conditions += " AND " + one; };
  if (!filter.conversations.empty()) add("convId IN (" + listed(filter.conversations) + ")");
  if (!filter.people.empty()) {
    add("convId IN (" + listed(conversations_with(filter.people)) + ")");
  }
  if (!filter.since.empty()) {
    add("displayTime >= " + std::to_string(time_span_of(filter.since).begin));
  }
  if (!filter.until.empty()) {
    add("displayTime < " + std::to_string(time_span_of(filter.until).end));
  }
  if (filter.unread) add("read = 0 AND " + folder_condition("inbox"));
  if (filter.failed) add("networkStatus = " + std::to_string(helpers::NETWORK_FAILED));
  if (!filter.type.empty()) add("msgType = ?");
  return conditions;
}

}  // namespace

bool is_unsaid(const MessageFilter& filter) {
  return filter.conversations.empty() && filter.people.empty() && filter.since.empty() &&
         filter.until.empty() && filter.text.empty() && filter.folder.empty() && !filter.unread &&
         !filter.failed && filter.type.empty() && filter.limit == 0;
}

void declare_filter(CLI::App& app, MessageFilter& filter) {
  app.add_option("--conv", filter.conversations, "Only of these conversations")
      ->type_name("ID[,ID...]")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(whole_number(0));
  declare_filter_within_conversation(app, filter);
}

void declare_filter_within_conversation(CLI::App& app, MessageFilter& filter) {
  app.add_option("--with", filter.people,
                 "Only of conversations with this person, the number in any form; given again, "
                 "with that one too")
      ->type_name("NUMBER")
      ->allow_extra_args(false)
      ->check(validated([](const std::string& word) {
        if (helpers::normalised_address(word).empty()) throw UsageError("nobody is named");
      }));
  const auto isTime = validated([](const std::string& word) { time_span_of(word); });
  app.add_option(
         "--since", filter.since,
         "Only from this day or moment on: 2026-03-01, 2026-03-01T14:30, yesterday, 12h, 7d")
      ->type_name("TIME")
      ->check(isTime);
  app.add_option("--until", filter.until,
                 "Only up to this day or moment, the whole of that day too")
      ->type_name("TIME")
      ->check(isTime);
  app.add_option("--text", filter.text,
                 "Only with this in the text, the subject or a part, in upper or lower case")
      ->type_name("TEXT");
  app.add_option("--folder", filter.folder,
                 "Only in this folder: inbox, outbox, sent, draft, a number, or all, hidden ones "
                 "too")
      ->type_name("FOLDER")
      ->check(validated([](const std::string& word) { folder_condition(word); }));
  app.add_flag("--unread", filter.unread, "Only received and not read");
  app.add_flag("--failed", filter.failed, "Only what could not be sent");
  app.add_option("--type", filter.type, "Only of this type, such as sms or mms")->type_name("TYPE");
  app.add_option("--limit", filter.limit, "At most so many; 0: all (the default)")
      ->type_name("N")
      ->check(whole_number(0));
}

MatchingMessages::MatchingMessages(const MessageFilter& filter)
    : _filter(filter),
      _wanted(folded(filter.text)),
      _rows(helpers::compile((filter.text.empty() ? SELECT_IDS : SELECT_TEXTS) +
                                 conditions_of(filter) + " ORDER BY displayTime " +
                                 (filter.ascending ? "ASC" : "DESC") + ", msgId;",
                             CANNOT_READ)) {
  if (!_filter.type.empty()) _rows->bind(1, _filter.type.c_str());
}

bool MatchingMessages::_hasText() const {
  for (int column = FIRST_TEXT; column <= LAST_TEXT; ++column) {
    if (folded(_rows->getText(column)).find(_wanted) != std::string::npos) return true;
  }
  return false;
}

std::optional<long long> MatchingMessages::next() {
  if (_filter.limit > 0 && _found == _filter.limit) return std::nullopt;
  while (read_row(*_rows)) {
    if (!_wanted.empty() && !_hasText()) continue;
    ++_found;
    return _rows->getInt64(0);
  }
  return std::nullopt;
}

}  // namespace msg_tarvel::tool
