#pragma once

#include "../export.h"

namespace msg_tarvel::db {

/**
 * Adds, in one transaction, the indexes that make look-ups by conversation, message, object id,
 * file path and time independent of the size of the store. Only the owner of the store calls it,
 * after createDb, and best before the store grows: on a big one it takes the time of reading every
 * table, and the write lock for as long. Called again it adds what is missing, which as a rule is
 * nothing.
 *
 * No query asks otherwise or answers otherwise because of the indexes: with or without them the
 * same rows come in the same order, and among messages of equal displayTime the smaller msgId
 * first. They make the database file half as big again or more, and every insert writes them too.
 *
 * Returns DB_SUCCESS, or the code of what failed, with no index of this call left behind. Within a
 * transaction of the caller's, the outcome is the one of that transaction, and a failure leaves the
 * indexes made so far to it. Throws std::bad_alloc; a transaction that it began is then rolled
 * back.
 */
MSG_TARVEL_EXPORT int db_create_indexes();

}  // namespace msg_tarvel::db
