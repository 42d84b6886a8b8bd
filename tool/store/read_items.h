#pragma once

#include <msg-tarvel-common/db/SqlStatement.h>
#include <msg-tarvel-common/item/Message.h>

#include "print/listed_thread.h"

namespace msg_tarvel::tool {

// Items by their ids, as the library's queries for one item give them: what its list queries leave
// out or shift is right in these. False when there is none; each throws Failure or StoreError.

bool read_message(int msgId, Message& message);
/** The conversation, if it has messages, and its participants. `listed` is a new one. */
bool read_thread(int convId, ListedThread& listed);

/** The next row for a loop that does more than to keep it. False when there is none left. */
bool read_row(db::SqlStatement& rows);

}  // namespace msg_tarvel::tool
