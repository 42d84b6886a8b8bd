#include "store/store_view.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_indexes.h>

#include <cstdlib>

#include "store/log_sink.h"
#include "store/store.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

StoreView::StoreView(Indexes indexes) : _copy(require_store()) {
  setenv(DATA_DIR_VARIABLE, _copy.dataDirectory().c_str(), 1);
  _session.emplace();
  db::DBMgr& store = *db::DBMgr::getInstance();
  // The first statement opens the copy and rolls back what was pending. What goes wrong here goes
  // wrong again in the command's own query, which reports it.
  store.execStatement(
      "SELECT count(*) FROM sqlite_master; PRAGMA synchronous = OFF; PRAGMA journal_mode = "
      "MEMORY;");
  if (indexes == Indexes::ALL) db::db_create_indexes();
  _copy.remove();
  forget_log_errors();
}

}  // namespace msg_tarvel::tool
