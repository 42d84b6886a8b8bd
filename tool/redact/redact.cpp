#include "redact/redact.h"

#include <algorithm>
#include <cstdlib>
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

/** A date as it is usually written, or seconds or milliseconds of these decades. */
bool is_time(const std::string& value) {
  constexpr std::string_view FORMS[] = {"0000-00-00",
                                        "0000-00-00 00:00",
                                        "0000-00-00 00:00:00",
                                        "0000-00-00 00:00:00Z",
                                        "0000-00-00 00:00:00+00:00",
                                        "0000-00-00 00:00:00-00:00",
                                        "0000-00-00 00:00:00.000",
                                        "0000-00-00 00:00:00.000Z",
                                        "0000-00-00 00:00:00.000+00:00",
                                        "0000-00-00 00:00:00.000-00:00",
                                        "0000000000",
                                        "0000000000000"};
  std::string form = value;
  for (char& character : form) {
    if (character >= '0' && character <= '9') character = '0';
    if (character == 'T') character = ' ';
  }
  const bool isOfThisAge =
      value[0] == '1' || (value[0] == '2' && value.size() > 4 && value[4] == '-');
  return isOfThisAge && std::find(std::begin(FORMS), std::end(FORMS), form) != std::end(FORMS);
}

std::string time(Disguise& disguise, const std::string& value) {
  return is_time(value) ? value : disguise.text(value);
}

using Function = std::string (*)(Disguise&, const std::string&);

/** The number of other digits, with as many as the original, where they begin with 0 too. */
long long number_of(std::string digits, const std::string& original) {
  constexpr std::size_t DIGITS_OF_LARGEST = 19;
  const std::size_t first = digits.find_first_not_of('-');
  const std::size_t count = digits.size() - first;
  if ((digits[first] == '0' && count > 1) || count == DIGITS_OF_LARGEST) {
    digits[first] = original[first] == '1' ? '2' : '1';
  }
  return std::strtoll(digits.c_str(), nullptr, 10);
}

/** Of the type of the value that is replaced. */
void set_result(sqlite3_context* context, int type, const std::string& original,
                const std::string& result) {
  if (type == SQLITE_INTEGER) {
    sqlite3_result_int64(context, number_of(result, original));
  } else if (type == SQLITE_FLOAT) {
    sqlite3_result_double(context, std::strtod(result.c_str(), nullptr));
  } else if (type == SQLITE_TEXT) {
    sqlite3_result_text64(context, result.data(), result.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  } else {
    sqlite3_result_blob64(context, result.data(), result.size(), SQLITE_TRANSIENT);
  }
}

/** A number is disguised as the text that it is for who reads it; NULL stays. */
template <Function function>
void call(sqlite3_context* context, int /*unused*/, sqlite3_value** arguments) {
  sqlite3_value* const value = arguments[0];
  const int type = sqlite3_value_type(value);
  if (type == SQLITE_NULL) return;
  const void* const bytes =
      type == SQLITE_BLOB ? sqlite3_value_blob(value) : sqlite3_value_text(value);
  const auto size = static_cast<std::size_t>(sqlite3_value_bytes(value));
  if (size > 0 && !bytes) {
    sqlite3_result_error_nomem(context);
    return;
  }
  try {
    auto& disguise = *static_cast<Disguise*>(sqlite3_user_data(context));
    const std::string original(size > 0 ? static_cast<const char*>(bytes) : "", size);
    set_result(context, type, original, function(disguise, original));
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

/** Ids, times, counters and the like, as the library has them. */
bool holds_numbers(const helpers::TableSchema& table, const std::string& column) {
  const std::vector<helpers::ColumnSchema> columns = helpers::columns_of(table);
  return std::any_of(columns.begin(), columns.end(), [&](const helpers::ColumnSchema& one) {
    return one.name == column && one.type != "TEXT";
  });
}

/** What stands in place of a column's values. */
std::string disguised(const helpers::TableSchema& table, const std::string& column) {
  const std::string name = quoted_name(column);
  std::string result = function_of(table.name, column) + ("(" + name + ")");
  // A number where a text should be is somebody's too, as in a table made with other types.
  if (!holds_numbers(table, column)) return result;
  return "CASE WHEN typeof(" + name + ") IN ('text', 'blob') THEN " + result + " ELSE " + name +
         " END";
}

void disguise_table(const Database& database, const helpers::TableSchema& table) {
  std::string changes;
  const std::string name = quoted_name(table.name);
  Rows columns = database.query("SELECT name FROM pragma_table_info(" + name + ");");
  while (columns.next()) {
    const std::string column = columns.text(0);
    changes +=
        (changes.empty() ? "" : ", ") + quoted_name(column) + " = " + disguised(table, column);
  }
  if (!changes.empty()) database.execute("UPDATE " + name + " SET " + changes + ";");
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
    disguise_table(database, table);
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
