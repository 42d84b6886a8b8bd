#include "redact/redact.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>

#include "exit_status.h"
#include "helpers/store_schema.h"
#include "import/media_type.h"
#include "redact/disguise.h"
#include "redact/known_schema.h"
#include "store/database.h"

namespace msg_tarvel::tool {

namespace {

/** What becomes of the texts of a column. Those of a column that is not named here are texts. */
struct Column {
  const char* table;
  const char* name;
  const char* function;
};

constexpr Column COLUMNS[] = {
    {"msg_address_table", "address", "disguised_number"},
    {"msg_message_table", "peerGroupChatSender", "disguised_number"},
    {"msg_message_table", "simAddress", "disguised_number"},
    {"msg_message_table", "msgType", "disguised_type"},
    {"msg_message_table", "customFieldStr1", "disguised_mark"},
    {"msg_conversation_table", "msgType", "disguised_type"},
    {"ft_queue_table", "msgType", "disguised_type"},
    {"ft_queue_table", "peerfilePath", "disguised_path"},
    {"ft_queue_table", "fileName", "disguised_path"},
    {"deleted_msg_table", "msgType", "disguised_type"},
    {"msg_sim_table", "Address", "disguised_number"},
    {"temp_log", "time_stamp", "disguised_time"},
    {"msg_mms_content_table", "contentType", "disguised_content_type"},
    {"msg_mms_content_table", "filepath", "disguised_path"},
    {"msg_mms_content_table", "filename", "disguised_path"},
    {"msg_mms_content_table", "thumbpath", "disguised_path"},
    {"msg_mms_content_table", "peer_filepath", "disguised_path"},
    {"msg_mms_content_table", "peer_copied_filepath", "disguised_path"},
    {"msg_ft_content_table", "contentType", "disguised_content_type"},
    {"msg_ft_content_table", "filepath", "disguised_path"},
    {"msg_ft_content_table", "filename", "disguised_path"},
};

const char* function_of(const std::string& table, const std::string& column) {
  const auto* const found =
      std::find_if(std::begin(COLUMNS), std::end(COLUMNS),
                   [&](const Column& one) { return table == one.table && column == one.name; });
  return found == std::end(COLUMNS) ? "disguised_text" : found->function;
}

// What stands in the columns, without the value's type.

std::string text(Disguise& disguise, const std::string& value) { return disguise.text(value); }
std::string number(Disguise& disguise, const std::string& value) { return disguise.number(value); }
std::string path(Disguise& disguise, const std::string& value) { return disguise.path(value); }

std::string type(Disguise& disguise, const std::string& value) {
  return value == "sms" || value == "mms" ? value : disguise.text(value);
}

/** Parameters may name files. */
std::string content_type(Disguise& disguise, const std::string& value) {
  const MediaType known = media_type_of(value);
  if (value == "json_msg") return value;
  return known.isKnown ? known.name : disguise.text(value);
}

/** What an import takes for the same message as before, it still does not store twice. */
std::string mark(Disguise& disguise, const std::string& value) {
  constexpr std::string_view MARK = "import:";
  if (value.rfind(MARK, 0) != 0) return disguise.text(value);
  return std::string(MARK) + disguise.digest("import", value);
}

std::string time(Disguise& disguise, const std::string& value) {
  const bool isTime = value.find_first_not_of("0123456789-:.TZ+ ") == std::string::npos;
  return isTime ? value : disguise.text(value);
}

using Function = std::string (*)(Disguise&, const std::string&);

/** Numbers and NULL stay as they are, in whatever column; a blob stays one. */
template <Function function>
void call(sqlite3_context* context, int /*unused*/, sqlite3_value** arguments) {
  sqlite3_value* const value = arguments[0];
  const int type = sqlite3_value_type(value);
  if (type != SQLITE_TEXT && type != SQLITE_BLOB) {
    sqlite3_result_value(context, value);
    return;
  }
  const void* const bytes =
      type == SQLITE_TEXT ? sqlite3_value_text(value) : sqlite3_value_blob(value);
  const auto size = static_cast<std::size_t>(sqlite3_value_bytes(value));
  if (size > 0 && !bytes) {
    sqlite3_result_error_nomem(context);
    return;
  }
  try {
    auto& disguise = *static_cast<Disguise*>(sqlite3_user_data(context));
    const std::string result =
        function(disguise, size > 0 ? std::string(static_cast<const char*>(bytes), size) : "");
    if (type == SQLITE_TEXT) {
      sqlite3_result_text64(context, result.data(), result.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    } else {
      sqlite3_result_blob64(context, result.data(), result.size(), SQLITE_TRANSIENT);
    }
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

template <Function function>
void add_function(const Database& database, const char* name, Disguise& disguise) {
  if (sqlite3_create_function_v2(database.handle(), name, 1, SQLITE_UTF8, &disguise,
                                 &call<function>, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw DatabaseFailure(database.handle());
  }
}

void learn_numbers(const Database& database, Disguise& disguise) {
  for (const Column& column : COLUMNS) {
    const std::string table = quoted_name(column.table);
    if (column.function != std::string_view("disguised_number") ||
        database.number("SELECT count(*) FROM pragma_table_info(" + table + ") WHERE name = '" +
                        column.name + "';") == 0) {
      continue;
    }
    const std::string name = quoted_name(column.name);
    Rows numbers = database.query("SELECT DISTINCT " + name + " FROM " + table + ";");
    while (numbers.next()) disguise.learn(numbers.text(0));
  }
}

void disguise_table(const Database& database, const std::string& table) {
  std::string changes;
  Rows columns = database.query("SELECT name FROM pragma_table_info(" + quoted_name(table) + ");");
  while (columns.next()) {
    const std::string column = quoted_name(columns.text(0));
    changes += (changes.empty() ? "" : ", ") + column + " = " +
               function_of(table, columns.text(0)) + "(" + column + ")";
  }
  if (!changes.empty()) {
    database.execute("UPDATE " + quoted_name(table) + " SET " + changes + ";");
  }
}

void add_functions(const Database& database, Disguise& disguise) {
  add_function<&text>(database, "disguised_text", disguise);
  add_function<&number>(database, "disguised_number", disguise);
  add_function<&path>(database, "disguised_path", disguise);
  add_function<&type>(database, "disguised_type", disguise);
  add_function<&content_type>(database, "disguised_content_type", disguise);
  add_function<&mark>(database, "disguised_mark", disguise);
  add_function<&time>(database, "disguised_time", disguise);
}

std::vector<std::string> redact(const Database& database, const std::string& key) {
  Disguise disguise(key);
  add_functions(database, disguise);
  // Nobody goes on with a half redacted copy, and who is alone needs no shared index of a log.
  database.execute(
      "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; "
      "BEGIN;");
  std::vector<std::string> leftOut = keep_known_schema(database);
  learn_numbers(database, disguise);
  for (const helpers::TableSchema& table : helpers::STORE_TABLES) {
    disguise_table(database, table.name);
  }
  // The pages that nothing uses any more still hold what was there.
  database.execute("COMMIT; VACUUM;");
  return leftOut;
}

}  // namespace

std::vector<std::string> redact_database(const std::string& path, const std::string& key) {
  try {
    return redact(Database(path), key);
  } catch (const DatabaseFailure& failure) {
    throw Failure(std::string("cannot redact the message store: ") + failure.what());
  }
}

}  // namespace msg_tarvel::tool
