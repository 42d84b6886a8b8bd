#pragma once

// The library's log lines end here: the program replaces the platform's log function by one that is
// silent but keeps the reason of a failure: the first line of an error, and what SQLite says at
// that moment.

#include <string>

#include "store/connections.h"

namespace msg_tarvel::tool {

/** Whether the lines also go to standard error, without colours. */
void set_verbose(bool verbose);

/** Forgets the errors so far; to be called before what may fail. */
void forget_log_errors();

/** Whether the database reported an error since the last forget_log_errors. */
bool has_database_error();

/** Whether the first of them was a lock of another process. */
bool is_lock_error();

/** Whether the first of the library's errors was of another function than this one. */
bool is_error_of_another(const std::string& function);

/** What SQLite failed with, in words for a user. */
std::string in_words(const DatabaseError& error);

/** `what`, and what went wrong since the last forget_log_errors, in words for a user. */
std::string with_log_failure(const std::string& what);

/** Throws a Failure that says with_log_failure. */
[[noreturn]] void fail_with_log(const std::string& what);

}  // namespace msg_tarvel::tool
