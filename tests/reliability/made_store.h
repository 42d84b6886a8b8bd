#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "reliability/told_failures.h"
#include "support/store.h"

namespace msg_tarvel {

/** What a createDb that returned 0 has made of a store, whatever failed meanwhile. */
inline void expect_made(const std::string& database) {
  RawConnection made(database);
  EXPECT_EQ(made.value("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                       "'sqlite%';"),
            "14");
  EXPECT_EQ(made.value("PRAGMA user_version;"), "4");
  EXPECT_EQ(made.column("SELECT notiIdx || ' ' || quote(restartToken) FROM mssi_info_table;"),
            std::vector<std::string>{"0 ''"});
}

/** Nothing for a file that is not there. */
inline void expect_mode_of_store(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return;
  EXPECT_EQ(status.st_mode & 07777, 0660U) << path;
  EXPECT_EQ(status.st_gid, geteuid() == 0 ? 5000U : getegid()) << path;
}

/**
 * Whether a store that was not there before lacks its journal. createDb does not tell when it could
 * not ask for one that stays, and the end of its transaction then deletes it; when that goes on, it
 * has no transaction either.
 */
inline bool is_without_journal(const std::string& database, bool isForGood) {
  expect_mode_of_store(database);
  expect_mode_of_store(database + "-journal");
  const bool isWithout = access((database + "-journal").c_str(), F_OK) != 0;
  EXPECT_FALSE(isWithout && isForGood);
  return isWithout;
}

/**
 * Whether a store lacks its version, after a createDb that returned `ret` and told `errors`: as it
 * may where that did not come to the tables, was left by an exception, or could not commit the
 * version, which it does not look at.
 */
inline bool is_without_version(const std::string& database, int ret,
                               const std::vector<std::string>& errors) {
  const std::string version = *RawConnection(database).value("PRAGMA user_version;");
  if (version == "4") return false;
  EXPECT_EQ(version, "0");
  const bool isEarly = !errors.empty() && begins_with(errors.back(), "[ERROR] _createDbFile() ");
  const bool isCommit = contains(all_of(errors), "[ERROR] sqlite3_exec() failed: (");
  EXPECT_TRUE(isEarly || isCommit || ret > 0) << ret << " " << all_of(errors);
  return true;
}

}  // namespace msg_tarvel
