#include "store/log_sink.h"

#include <dlog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "exit_status.h"

namespace {

constexpr const char* DATABASE_PREFIX = "sqlite3_";

bool verboseLog = false;
// The first error of a failing call names the cause; those after it are its callers' reports.
std::string firstError;
std::string firstDatabaseError;

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

/** What follows "<file>: <function>(<line>) > " and "[ERROR] ". */
std::string message_of(const std::string& line) {
  std::string message = line;
  for (const std::string prefix : {" > ", "[ERROR] "}) {
    const std::size_t at = message.find(prefix);
    if (at != std::string::npos) message.erase(0, at + prefix.size());
  }
  return message;
}

void remember(const std::string& message) {
  if (firstError.empty()) firstError = message;
  if (firstDatabaseError.empty() && message.rfind(DATABASE_PREFIX, 0) == 0) {
    firstDatabaseError = message;
  }
}

const char* words_for(int databaseCode) {
  switch (databaseCode) {
    case 5:
    case 6:
      return "it is locked by another process";
    case 8:
      return "it is read-only";
    case 10:
      return "reading or writing it failed";
    case 11:
      return "it is damaged";
    case 13:
      return "the disk is full";
    case 14:
      return "it cannot be opened";
    case 26:
      return "it is not a database";
    default:
      return nullptr;
  }
}

std::string in_words(const std::string& message) {
  if (message == "file access permission error") return "permission denied";
  if (message.rfind(DATABASE_PREFIX, 0) == 0) {
    const std::size_t code = message.find(": (");
    if (code != std::string::npos) {
      if (const char* words = words_for(std::atoi(message.c_str() + code + 3))) return words;
    }
  }
  return message;
}

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int prio, const char* tag, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  char* text = nullptr;
  const int length = vasprintf(&text, fmt, arguments);
  va_end(arguments);
  if (length < 0) return length;

  const std::string line = without_escapes(text);
  std::free(text);
  if (prio == DLOG_ERROR) remember(message_of(line));
  if (verboseLog) std::cerr << tag << " " << line << "\n";
  return length;
}

namespace msg_tarvel::tool {

void set_verbose(bool verbose) { verboseLog = verbose; }

void forget_log_errors() {
  firstError.clear();
  firstDatabaseError.clear();
}

bool has_database_error() { return !firstDatabaseError.empty(); }

std::string with_log_failure(const std::string& what) {
  const std::string reason = in_words(firstDatabaseError.empty() ? firstError : firstDatabaseError);
  return reason.empty() ? what : what + ": " + reason;
}

void fail_with_log(const std::string& what) { throw Failure(with_log_failure(what)); }

}  // namespace msg_tarvel::tool
