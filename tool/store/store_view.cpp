#include "store/store_view.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_indexes.h>

#include <cstdlib>
#include <filesystem>

#include "store/log_sink.h"
#include "store/store.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

/** Below this size an index costs more than it saves. */
constexpr std::uintmax_t SMALL_STORE = 1048576;

std::uintmax_t size_of(const std::string& path) {
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(path, unknown);
  return unknown ? 0 : size;
}

}  // namespace

StoreView::StoreView() : _copy(require_store()) {
  setenv(DATA_DIR_VARIABLE, _copy.dataDirectory().c_str(), 1);
  _session.emplace();
  db::DBMgr& store = *db::DBMgr::getInstance();
  // The first statement opens the copy and rolls back what was pending. What goes wrong here goes
  // wrong again in the command's own query, which reports it.
  store.execStatement(
      "SELECT count(*) FROM sqlite_master; PRAGMA synchronous = OFF; PRAGMA journal_mode = "
      "MEMORY;");
  if (size_of(_copy.database()) >= SMALL_STORE) db::db_create_indexes();
  _copy.remove();
  forget_log_errors();
}

}  // namespace msg_tarvel::tool
