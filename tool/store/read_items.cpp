#include "store/read_items.h"

#include <msg-tarvel-common/db/db_common_funcs.h>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "store/log_sink.h"
#include "store/store.h"
#include "store/work_time.h"

namespace msg_tarvel::tool {

using helpers::CANNOT_READ;

bool read_message(int msgId, Message& message) {
  forget_log_errors();
  return is_found(db::db_get_message(msgId, message), CANNOT_READ);
}

bool read_thread(int convId, ListedThread& listed) {
  forget_log_errors();
  if (!is_found(db::db_get_thread(convId, listed.thread), CANNOT_READ)) return false;
  is_found(db::db_get_addresses(convId, listed.addresses), CANNOT_READ);
  return true;
}

bool read_row(db::SqlStatement& rows) {
  const Step step;
  return helpers::next_row(rows, CANNOT_READ);
}

}  // namespace msg_tarvel::tool
