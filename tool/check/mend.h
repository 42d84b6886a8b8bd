#pragma once

#include <string>

#include "check/findings.h"
#include "store/database.h"

namespace msg_tarvel::tool {

/** Whether the findings say that the database itself is damaged, more than its indexes. */
bool is_damaged(const Findings& findings);

/**
 * Mends what the kinds of `found` are and what needs no guessing, in the library's store, in one
 * transaction. To be called while this process has not opened the store.
 */
void mend_database(const Findings& found);

/** Mends groups and modes of the store's files, after its database. */
void mend_files(const Findings& found);

/**
 * Sets every conversation's counters and last message to what its messages amount to. To be called
 * within a transaction of the library's store.
 */
void summarise_conversations();

}  // namespace msg_tarvel::tool
