#pragma once

// What holds for every connection of this program to a database, those that the library opens too.
// A store may have been made by anybody: no view, trigger or text of it keeps a command from
// ending.

#include <string>

struct sqlite3;

namespace msg_tarvel::tool {

/**
 * The longest text, and row, that is read or written, in bytes: as long as a row of the largest
 * message of a backup, whose text stands in two columns.
 */
constexpr int LONGEST_VALUE = 17'000'000;

/**
 * Limits every connection that is opened from now on: the length of values, SQLite's memory, and
 * the work of a statement, which also ends when the program is interrupted. To be called once,
 * before any other function of SQLite.
 */
void limit_connections();

/** How much SQLite may have allocated at once for a store with so many bytes. */
long long memory_for(long long bytes);

/** The connection that was opened last and is still open; null for none. */
sqlite3* last_connection();

/**
 * Has the library's connection of this thread, which is opened if it is not, look for interrupts
 * while it waits for a lock. It waits as long as before.
 */
void wait_interruptibly();

/** The same for a connection of the program's own. */
void limit_waits(sqlite3* handle);

/** An error as SQLite reports it. */
struct DatabaseError {
  /** The primary result code; 0 for none. */
  int code = 0;
  std::string text;
};

/** What the last function of SQLite failed with. */
DatabaseError current_database_error();

void forget_database_error();

}  // namespace msg_tarvel::tool
