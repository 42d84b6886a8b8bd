// Modes, owners and groups of a store's files and directories, its journal, and the pictures.

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>

#include "check/check.h"
#include "check/queries.h"
#include "check/store_files.h"
#include "store/media.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

/** Whether a user may give files to the store's group. */
bool may_give_to_group(uid_t user) {
  if (user == 0) return true;
  const passwd* const entry = getpwuid(user);
  if (!entry) return false;
  int count = 0;
  getgrouplist(entry->pw_name, entry->pw_gid, nullptr, &count);
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  getgrouplist(entry->pw_name, entry->pw_gid, groups.data(), &count);
  return std::find(groups.begin(), groups.end(), STORE_GROUP) != groups.end();
}

void check_place(const StorePlace& place, uid_t owner, Findings& findings) {
  const mode_t wanted = wanted_mode(place);
  if (place.mode != wanted) {
    findings.add(Kind::MODES, place.path,
                 "mode is " + octal(place.mode) + ", not " + octal(wanted));
  }
  // A member of the group may add files to media, which then are that user's.
  const bool isOfMember = place.isFileInMedia && place.group == STORE_GROUP;
  if (place.owner != owner && !isOfMember) {
    findings.add(Kind::OWNER, place.path,
                 "belongs to user " + std::to_string(place.owner) + ", the data directory to " +
                     std::to_string(owner));
  }
  if (place.isOfGroup && place.group != STORE_GROUP && may_give_to_group(place.owner)) {
    findings.add(
        Kind::GROUP, place.path,
        "group is " + std::to_string(place.group) + ", not " + std::to_string(STORE_GROUP));
  }
}

bool is_there(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

void check_journal(const CheckedStore& store, Findings& findings) {
  const std::string database = store.dataDirectory + DATABASE_FILE;
  const std::string journal = database + JOURNAL_ENDING;
  if (store.isRollbackPending) {
    findings.add(Kind::ROLLBACK, journal,
                 "a commit was cut short; who opens the store next undoes it");
  }
  if (!is_there(journal)) findings.add(Kind::JOURNAL, journal, "is missing");
  if (store.isWriteAhead) {
    findings.add(Kind::JOURNAL, database, "is in write-ahead mode");
  }
}

NamedFiles names_in_rows(const Database& database) {
  NamedFiles named;
  Rows paths = database.query(SELECT_NAMED_FILES);
  while (paths.next()) named.add(paths.text(0));
  return named;
}

}  // namespace

void check_files(const CheckedStore& store, Findings& findings) {
  struct stat status = {};
  if (lstat((store.dataDirectory + ".").c_str(), &status) != 0) return;
  for (const StorePlace& place : places_of(store.dataDirectory, store.mediaFiles)) {
    check_place(place, status.st_uid, findings);
  }
  check_journal(store, findings);
}

void check_media(const CheckedStore& store, Findings& findings) {
  const auto isThere = [&store](const std::string& name) {
    return std::binary_search(store.mediaFiles.begin(), store.mediaFiles.end(), name);
  };
  std::optional<NamedFiles> read;
  const auto named = [&]() -> const NamedFiles& {
    if (!read) read = names_in_rows(store.database);
    return *read;
  };
  look_for(Kind::MISSING_FILES, findings, [&] {
    Rows files = store.database.query(SELECT_CONTENT_FILES);
    while (files.next()) {
      struct stat status = {};
      const std::string path = files.text(1);
      if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) continue;
      const std::string staged = STAGED_PREFIX + path.substr(path.rfind('/') + 1);
      const bool isStaged = isThere(staged) && !named().contains(staged);
      findings.add(Kind::MISSING_FILES, files.text(0),
                   path + (isStaged ? " is there as " + staged : " is not there"));
    }
  });
  look_for(Kind::UNNAMED_FILES, findings, [&] {
    const NamedFiles& names = named();
    for (const std::string& name : store.mediaFiles) {
      if (names.contains(name)) continue;
      const bool isStaged = is_staged_file(name);
      if (isStaged && (names.contains(settled_name(name)) || store.isBeingWritten)) continue;
      findings.add(Kind::UNNAMED_FILES, store.dataDirectory + "media/" + name,
                   isStaged ? "was left by an import that was killed" : "is named by no row");
    }
  });
}

}  // namespace msg_tarvel::tool
