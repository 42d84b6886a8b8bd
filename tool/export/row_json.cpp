#include "export/row_json.h"

#include <glib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>

#include "backup/base64.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* INFINITE = "Infinity";
constexpr const char* MINUS_INFINITE = "-Infinity";

/** NUL is a character like others. */
bool is_utf8(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at < end && g_utf8_validate(at, end - at, &at) == FALSE) {
    if (at == end || *at != '\0') return at == end;
    ++at;
  }
  return true;
}

std::string column_bytes(sqlite3_stmt* statement, int column, bool isText) {
  // In this order: the first call decides on the form that the second one measures.
  const void* const bytes =
      isText ? sqlite3_column_text(statement, column) : sqlite3_column_blob(statement, column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
  if (size > 0 && !bytes) throw std::bad_alloc();
  return size > 0 ? std::string(static_cast<const char*>(bytes), size) : "";
}

Json value_of(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
      return sqlite3_column_int64(statement, column);
    case SQLITE_FLOAT: {
      const double number = sqlite3_column_double(statement, column);
      if (std::isfinite(number)) return number;
      return {{"real", number > 0 ? INFINITE : MINUS_INFINITE}};
    }
    case SQLITE_TEXT: {
      std::string text = column_bytes(statement, column, true);
      if (is_utf8(text)) return text;
      return {{"text", base64_of(text)}};
    }
    case SQLITE_BLOB:
      return {{"blob", base64_of(column_bytes(statement, column, false))}};
    default:
      return {};
  }
}

[[noreturn]] void fail_on(const Json& value) {
  throw Failure("no value of a row: " +
                value.dump(-1, ' ', true, Json::error_handler_t::replace).substr(0, 60));
}

/** A value of an object of one field. */
int bind_object(sqlite3_stmt* statement, int parameter, const Json& value) {
  if (value.size() != 1 || !value.begin()->is_string()) fail_on(value);
  const auto& content = value.begin()->get_ref<const std::string&>();
  if (value.contains("real") && (content == INFINITE || content == MINUS_INFINITE)) {
    const double infinite = std::numeric_limits<double>::infinity();
    return sqlite3_bind_double(statement, parameter, content == INFINITE ? infinite : -infinite);
  }
  if (!value.contains("text") && !value.contains("blob")) fail_on(value);
  const std::string bytes = bytes_of_base64(content);
  if (value.contains("text")) {
    return sqlite3_bind_text64(statement, parameter, bytes.data(), bytes.size(), SQLITE_TRANSIENT,
                               SQLITE_UTF8);
  }
  return sqlite3_bind_blob64(statement, parameter, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
}

/** Behind the text that begins at `at`, of well-formed JSON. */
std::size_t end_of_text(const std::string& json, std::size_t at) {
  for (;;) {
    const std::size_t quote = json.find('"', at + 1);
    if (quote == std::string::npos) return json.size();
    const std::size_t before = json.find_last_not_of('\\', quote - 1);
    const bool isEscaped = (quote - before) % 2 == 0;
    if (!isEscaped) return quote + 1;
    at = quote;
  }
}

bool is_wide_integer(std::string_view number) {
  if (number.find_first_of(".eE") != std::string_view::npos) return false;
  std::int64_t value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  return result.ec == std::errc::result_out_of_range;
}

}  // namespace

void refuse_wide_integers(const std::string& json) {
  constexpr const char* TEXT_OR_NUMBER = "\"-0123456789";
  for (std::size_t at = 0; (at = json.find_first_of(TEXT_OR_NUMBER, at)) != std::string::npos;) {
    if (json[at] == '"') {
      at = end_of_text(json, at);
      continue;
    }
    const std::size_t end = std::min(json.find_first_not_of("+-.eE0123456789", at), json.size());
    const std::string number = json.substr(at, end - at);
    if (is_wide_integer(number)) throw Failure("no store holds the number " + number.substr(0, 60));
    at = end;
  }
}

Json row_of(const Rows& rows) {
  sqlite3_stmt* const statement = rows.statement();
  Json row = Json::object();
  for (int column = 0; column < sqlite3_column_count(statement); ++column) {
    row[sqlite3_column_name(statement, column)] = value_of(statement, column);
  }
  return row;
}

void bind_json(const Rows& rows, int parameter, const Json& value) {
  sqlite3_stmt* const statement = rows.statement();
  int result = SQLITE_OK;
  if (value.is_null()) {
    result = sqlite3_bind_null(statement, parameter);
  } else if (value.is_number_integer()) {
    result = sqlite3_bind_int64(statement, parameter, value.get<std::int64_t>());
  } else if (value.is_number_float()) {
    result = sqlite3_bind_double(statement, parameter, value.get<double>());
  } else if (value.is_string()) {
    const auto& text = value.get_ref<const std::string&>();
    result = sqlite3_bind_text64(statement, parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                                 SQLITE_UTF8);
  } else if (value.is_object()) {
    result = bind_object(statement, parameter, value);
  } else {
    fail_on(value);
  }
  if (result != SQLITE_OK) throw DatabaseFailure(result);
}

}  // namespace msg_tarvel::tool
