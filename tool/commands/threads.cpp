// msg-tarvel threads

#include <msg-tarvel-common/db/db_common_funcs.h>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "print/items.h"
#include "print/remark.h"
#include "store/read_items.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

/** As db_get_threads, whose items lack the last message's id, orders them. */
constexpr const char* SELECT_CONVERSATIONS =
    "SELECT convId FROM msg_conversation_table WHERE msgCnt > 0 ORDER BY displayTime DESC, convId;";

int list_threads(const Output& output) {
  const StoreView view;
  ThreadList list(output);
  bool isEmpty = true;
  const auto rows = helpers::compile(SELECT_CONVERSATIONS, helpers::CANNOT_READ);
  while (read_row(*rows)) {
    ListedThread listed;
    if (!read_thread(rows->getInt(0), listed)) continue;
    list.add(listed);
    isEmpty = false;
  }
  list.end();
  return isEmpty ? nothing_found("the store has no conversations with messages") : FOUND;
}

}  // namespace

void declare_threads(CommandSet& commands) {
  commands.add("threads", "Lists the conversations, newest first", "msg-tarvel threads",
               list_threads);
}

}  // namespace msg_tarvel::tool
