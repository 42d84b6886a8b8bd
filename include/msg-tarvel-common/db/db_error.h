#pragma once

#include "../export.h"

namespace msg_tarvel::db {

// Result codes of the storage functions: 0 for success, negative for failure.

/** Success; also what SqlStatement::step returns when the statement is done. */
constexpr int DB_SUCCESS = 0;
/**
 * An argument of a query is out of range; found before the database is touched. A query of messages
 * also passes it on for one whose conversation has an id below 0.
 */
constexpr int DB_ERR_INVALID_ARGUMENT = -3;
/** Unknown folder option in a message list condition. */
constexpr int DB_ERR_INVALID_PARAM = -1000;
/** The calling (non-root) user may not read the database file. */
constexpr int DB_ERR_ACCESS = -1001;
/** The connection could not be opened. */
constexpr int DB_ERR_OPEN = -1002;
/** The connection could not be closed. */
constexpr int DB_ERR_CLOSE = -1003;
/** A statement could not be compiled; also when the database could not be opened for it. */
constexpr int DB_ERR_PREPARE = -1004;
/** A step gave neither a row nor the end. */
constexpr int DB_ERR_STEP = -1005;
/** Executing a statement text failed. */
constexpr int DB_ERR_EXEC = -1006;
/** A query found nothing; for list queries: the caller's vector is empty afterwards. */
constexpr int DB_NO_DATA = -1101;
/** SqlStatement::step produced a row. */
constexpr int DB_ROW = -1102;

/**
 * What `code` means, in a few plain words without a full stop, for messages to people; also of the
 * -1 with which createDb says that a directory or file could not be made. Never null: of a number
 * that is no result code it says just that. The text is the library's and stays. Any thread may
 * ask.
 */
MSG_TARVEL_EXPORT const char* db_error_text(int code);

}  // namespace msg_tarvel::db
