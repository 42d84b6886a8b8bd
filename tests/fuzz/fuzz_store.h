#pragma once

#include <msg-tarvel-common/db/DBMgr.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "fuzz_target.h"
#include "store/connections.h"
#include "store/work_time.h"

/** A store in a directory of this process, which is removed at its end. */
class FuzzStore {
 public:
  /** With what `statements` put into it. */
  explicit FuzzStore(const char* statements = "")
      : _directory("/tmp/fuzz-store-" + std::to_string(getpid()) + "/") {
    msg_tarvel::tool::limit_connections();
    std::filesystem::create_directory(_directory);
    setenv("MSG_TARVEL_DATA_DIR", _directory.c_str(), 1);
    setenv("MSG_TARVEL_SETTINGS", (_directory + "none").c_str(), 1);
    auto* const owner = msg_tarvel::db::DBMgr::getInstance();
    FUZZ_ASSERT(owner->createDb() == 0 && owner->execStatement(statements) == 0);
  }
  FuzzStore(const FuzzStore&) = delete;
  FuzzStore& operator=(const FuzzStore&) = delete;
  ~FuzzStore() { std::filesystem::remove_all(_directory); }

  const std::string& directory() const { return _directory; }

  /** Each input is what a command is given. */
  void beginInput() const { msg_tarvel::tool::limit_work_time(); }

 private:
  const std::string _directory;
};
