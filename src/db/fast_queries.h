#pragma once

// Faster ways to what the lists of db_common_funcs.cpp define: the same items in the same order,
// the same result and the same lines in the log. The defined way takes a row, looks its dependents
// up (addresses, contents, metadata), and takes the next; a fast way reads all rows and then all
// their dependents, in one state of the store, with a number of statements that does not grow with
// the rows.
//
// A fast way answers only when all went well, or when the store stayed locked. At anything else (a
// failure, a store that is not as createDb makes it, an id that needs more than 32 bits) it leaves
// everything as it was, the log too, and has no answer: the defined way is then to run and to
// report.
//
// Rows of equal order come by their key, as they do from a store without indexes. The texts given
// here say so at their end; those of the defined way leave it to SQLite, which with indexes may
// choose another order.

#include <optional>
#include <string>
#include <vector>

#include "db/query.h"
#include "msg-tarvel-common/item/Conversation.h"
#include "msg-tarvel-common/item/Message.h"
#include "msg-tarvel-common/item/Thread.h"

namespace msg_tarvel::db {

/** What a fast way returns. */
struct FastResult {
  /** The result of the query; nothing when the defined way is to run. */
  std::optional<int> answer;
  /** The defined way is to run with the settled text, for the store has indexes. */
  bool isOrderOpen = false;
};

/** False lets every query take the defined way; for tests, before other threads query. */
extern bool fastQueriesAreOn;

// `sql` begins with the columns that the reader of the item takes. `failures` and `site` are those
// of the query.

FastResult fast_message_list(const std::string& sql, const ListFailures& failures,
                             std::vector<Message>& messages, log::CallSite site);
FastResult fast_conversation_list(const std::string& sql, const ListFailures& failures,
                                  std::vector<Conversation>& conversations, log::CallSite site);
FastResult fast_thread_list(const ListFailures& failures, std::vector<Thread>& threads,
                            log::CallSite site);
FastResult fast_thread(int convId, Thread& thread, log::CallSite site);

FastResult fast_nms_meta_list(const std::string& sql, const ListFailures& failures,
                              std::vector<NmsMsgMeta>& metas, log::CallSite site);

}  // namespace msg_tarvel::db
