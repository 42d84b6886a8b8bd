#pragma once

#include <string>
#include <vector>

#include "check/findings.h"
#include "interrupt.h"
#include "store/database.h"

namespace msg_tarvel::tool {

/** A store as it was at one moment. */
struct CheckedStore {
  /** Its rows: a private copy's, or the store's own within a transaction. */
  const Database& database;
  /** Where its files lie, ending in "/". */
  std::string dataDirectory;
  /** The names in media, listed before the rows were read: a file comes before its row. */
  std::vector<std::string> mediaFiles;
  /** While an import is under way, the files that no row names yet are its. */
  bool isBeingWritten = false;
  bool isRollbackPending = false;
  /** SQLite's write-ahead mode, which the library never sets. */
  bool isWriteAhead = false;
};

/** Looks for every wanted kind, whatever state the database is in; changes nothing. */
void check_store(const CheckedStore& store, Findings& findings);

// Its parts.
void check_files(const CheckedStore& store, Findings& findings);
void check_schema(const CheckedStore& store, Findings& findings);
void check_rows(const CheckedStore& store, Findings& findings);
void check_people(const CheckedStore& store, Findings& findings);
void check_media(const CheckedStore& store, Findings& findings);

/**
 * Runs `action` if the kind is wanted; that SQLite cannot answer is a finding too. Throws
 * Interrupted within an InterruptGuard.
 */
template <typename Action>
void look_for(Kind kind, Findings& findings, Action&& action) {
  if (!findings.wants(kind)) return;
  try {
    action();
  } catch (const DatabaseFailure& failure) {
    throw_if_interrupted();
    findings.add(kind, "database", std::string("cannot be checked: ") + failure.what());
  }
}

/** Every name in a directory; none when it cannot be read. */
std::vector<std::string> names_in(const std::string& directory);

}  // namespace msg_tarvel::tool
