// msg-tarvel create

#include <glib.h>
#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "failure.h"
#include "helpers/transaction.h"
#include "print/json.h"
#include "store/log_sink.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

constexpr int PARENT_MODE = 0700;

void print_created(const Output& output, const std::string& path, bool isNew) {
  if (output.json) {
    print_json(output, {{"path", path}, {"created", isNew}});
  } else {
    output.out << (isNew ? "created " : "complete already: ") << path << "\n";
  }
}

int create_store(const Output& output) {
  const std::string path = db::get_db_filepath();
  if (path.empty()) throw Failure("there is no place for a message store: HOME is not set");
  const std::filesystem::path data(db::get_data_dir_path());
  const std::filesystem::path parent = data.parent_path().parent_path();
  if (!parent.empty() && g_mkdir_with_parents(parent.c_str(), PARENT_MODE) != 0) {
    throw Failure("cannot make the directory " + parent.string() + ": " + std::strerror(errno));
  }
  struct stat status = {};
  const bool isNew = stat(path.c_str(), &status) != 0;
  const helpers::StoreSession session;
  forget_log_errors();
  errno = 0;
  if (db::DBMgr::getInstance()->createDb() != db::DB_SUCCESS) {
    fail_with_log("cannot create the message store " + path);
  }
  // createDb does not look at whether its last step, the commit, succeeds.
  std::vector<SimInfo> sims;
  is_found(db::db_get_sim_infos(sims), "cannot create the message store " + path);
  print_created(output, path, isNew);
  return FOUND;
}

}  // namespace

void declare_create(CommandSet& commands) {
  commands.add("create", "Makes the store, or what is missing of it", "msg-tarvel create",
               create_store);
}

}  // namespace msg_tarvel::tool
