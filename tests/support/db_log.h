#pragma once

// What the connection manager is expected to log.

#include <unistd.h>

#include <string>

#include "support/expected_log.h"

namespace msg_tarvel {

/** Lines of the connection manager. */
inline ExpectedLine manager_error(const std::string& function, const std::string& message) {
  return error_line("DBMgr.cpp", function, "[ERROR] " + message);
}
inline ExpectedLine manager_warning(const std::string& function, const std::string& message) {
  return warn_line("DBMgr.cpp", function, message);
}

inline ExpectedLine opening() { return info_line("DBMgr.cpp", "_openDb", "Trying to db open!!"); }
inline ExpectedLine exec_failed(const std::string& what) {
  return manager_error("execStatement", "sqlite3_exec() failed: " + what);
}
inline ExpectedLine gave_up_waiting() {
  return manager_error("_onBusyHandler", "Busy Handler will be returned SQLITE_BUSY error : PID(" +
                                             std::to_string(getpid()) + ") \n");
}
inline ExpectedLine creating_directories() {
  return manager_warning("_createDbFiles", "No DB directory exists, Creating DB directories...");
}
inline ExpectedLine creating_files() {
  return manager_warning("_createDbFiles", "No DB file exists, Creating DB files...");
}
inline ExpectedLine created() {
  return manager_warning("_createDbTables", "Succeeded to create msg-tarvel DB!");
}
/** The last lines of a createDb whose tables could not be made. */
inline Lines creation_failed(int code) {
  const std::string text = "(" + std::to_string(code) + ")";
  return {manager_warning("_createDbTables", "Failed to create msg-tarvel DB! reason: " + text),
          manager_error("createDb", "_createDbTables() failed: " + text)};
}

/** Calls `action` once, when the library is about to open the database file. */
template <typename Action>
void when_opening(Action action) {
  FakePlatform::get().onLog([action](const LogLine& line) {
    if (!(line == opening())) return;
    FakePlatform::get().onLog(nullptr);
    action();
  });
}

}  // namespace msg_tarvel
