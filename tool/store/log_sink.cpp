#include "store/log_sink.h"

#include <dlog.h>
#include <sqlite3.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <new>

#include "exit_status.h"
#include "print/printable.h"
#include "store/connections.h"

namespace {

bool verboseLog = false;
// The first error of a failing call names the cause; those after it are its callers' reports.
std::string firstError;
/** The function of the library that it is of. */
std::string firstFunction;
msg_tarvel::tool::DatabaseError firstDatabaseError;

/** The line without its colour escapes ("ESC [ ... m") and its newline. */
std::string without_escapes(const std::string& line) {
  std::string plain;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\033') {
      i = line.find('m', i);
      if (i == std::string::npos) break;
    } else if (line[i] != '\n') {
      plain += line[i];
    }
  }
  return plain;
}

/** Of "<file>: <function>(<line>) > ...". */
std::string function_of(const std::string& line) {
  const std::string rest = line.substr(line.find(' ') + 1);
  return rest.substr(0, rest.find('('));
}

/** What follows "<file>: <function>(<line>) > " and "[ERROR] ". */
std::string message_of(const std::string& line) {
  std::string message = line;
  for (const std::string prefix : {" > ", "[ERROR] "}) {
    const std::size_t at = message.find(prefix);
    if (at != std::string::npos) message.erase(0, at + prefix.size());
  }
  return message;
}

/** The error of an open or a bind that failed for want of memory: SQLite keeps nothing of it. */
msg_tarvel::tool::DatabaseError error_in(const std::string& message) {
  int code = 0;
  if (std::sscanf(message.c_str(), "sqlite3_%*[a-z]() failed: (%d)", &code) != 1) return {};
  return {code & 0xFF, message};
}

void remember(const std::string& line) {
  const std::string message = message_of(line);
  if (firstError.empty()) {
    firstError = message;
    firstFunction = function_of(line);
  }
  if (firstDatabaseError.code != 0) return;
  firstDatabaseError = msg_tarvel::tool::current_database_error();
  if (firstDatabaseError.code == 0) firstDatabaseError = error_in(message);
}

void take(int priority, const char* tag, const char* text) {
  const std::string line = without_escapes(text);
  if (priority == DLOG_ERROR) remember(line);
  if (verboseLog) {
    std::cerr << tag << " " << msg_tarvel::tool::printable(line) << "\n";
  }
}

const char* words_for(int databaseCode) {
  switch (databaseCode) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "it is locked by another process";
    case SQLITE_NOMEM:
      return "out of memory";
    case SQLITE_READONLY:
      return "it is read-only";
    case SQLITE_INTERRUPT:
      return "a query takes more work than a store of this size can need";
    case SQLITE_IOERR:
      return "reading or writing it failed";
    case SQLITE_CORRUPT:
      return "it is damaged";
    case SQLITE_FULL:
      return "the disk is full";
    case SQLITE_CANTOPEN:
      return "it cannot be opened";
    case SQLITE_TOOBIG:
      return "a text of it is longer than 17 MB";
    case SQLITE_NOTADB:
      return "it is not a database";
    default:
      return nullptr;
  }
}

std::string reason() {
  if (firstDatabaseError.code != 0) return msg_tarvel::tool::in_words(firstDatabaseError);
  return firstError == "file access permission error" ? "permission denied" : firstError;
}

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int prio, const char* tag, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  char* text = nullptr;
  const int length = vasprintf(&text, fmt, arguments);
  va_end(arguments);
  try {
    if (length < 0) throw std::bad_alloc();
    const std::unique_ptr<char, decltype(&std::free)> line(text, &std::free);
    take(prio, tag, text);
  } catch (const std::bad_alloc&) {
    // The library logs in destructors too. That something failed is known all the same.
    if (prio == DLOG_ERROR && firstDatabaseError.code == 0) firstDatabaseError.code = SQLITE_NOMEM;
  }
  return length;
}

namespace msg_tarvel::tool {

void set_verbose(bool verbose) { verboseLog = verbose; }

void forget_log_errors() {
  firstError.clear();
  firstFunction.clear();
  firstDatabaseError = {};
  forget_database_error();
}

bool has_database_error() { return firstDatabaseError.code != 0; }

bool is_lock_error() {
  return firstDatabaseError.code == SQLITE_BUSY || firstDatabaseError.code == SQLITE_LOCKED;
}

bool is_error_of_another(const std::string& function) {
  return !firstError.empty() && firstFunction != function;
}

std::string in_words(const DatabaseError& error) {
  const char* const words = words_for(error.code);
  return words ? words : error.text;
}

std::string with_log_failure(const std::string& what) {
  const std::string why = reason();
  return why.empty() ? what : what + ": " + why;
}

void fail_with_log(const std::string& what) { throw Failure(with_log_failure(what)); }

}  // namespace msg_tarvel::tool
