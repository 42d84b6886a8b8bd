#pragma once

#include <string>

#include "store/private_directory.h"

namespace msg_tarvel::tool {

/**
 * A private copy of a store's database as it was at one moment, for who looks at it for long: the
 * store's owner goes on writing meanwhile. Only reading is asked of the caller's rights.
 *
 * A commit that comes while the copy is made goes first, and the copy begins again; so an owner
 * that commits ten times a second waits for less than a tenth. Only for a store that cannot be
 * copied between two commits (hundreds of megabytes) an owner waits in the end, once, for as long
 * as that takes.
 *
 * Where a writer has died in a commit, its journal is copied too: who opens the copy with SQLite
 * rolls it back there, as the store's next user will with the store.
 *
 * Where somebody has chosen SQLite's write-ahead mode, what is in the log is in the copy, which is
 * not in that mode. SQLite itself never opens the store: it would make files beside it.
 *
 * To be made before this process opens the store: closing a file drops every lock that the process
 * has on it. While it is there SIGHUP, SIGINT and SIGTERM remove it before they end the program,
 * unless they have been given another meaning.
 *
 * \code
 * const StoreCopy copy(require_store());
 * sqlite3_open(copy.database().c_str(), &connection);
 * \endcode
 */
class StoreCopy {
 public:
  /**
   * Copies the database file `original`, with its journal beside it. Throws Failure, whose text
   * begins with "cannot ": the store cannot be read or is locked for seconds, or there is no room.
   */
  explicit StoreCopy(const std::string& original);

  /** A data directory of its own for the library, ending in "/". */
  const std::string& dataDirectory() const { return _directory.path(); }
  std::string database() const { return _directory.database(); }

  /** Whether the store holds half a commit that its next user rolls back. */
  bool isRollbackPending() const { return _isRollbackPending; }

  /** Whether the store is in SQLite's write-ahead mode. */
  bool isWriteAhead() const { return _isWriteAhead; }

  /** Removes it now, before the end of its life; who has it open keeps it. */
  void remove() { _directory.remove(); }

 private:
  PrivateDirectory _directory;
  bool _isRollbackPending = false;
  bool _isWriteAhead = false;
};

}  // namespace msg_tarvel::tool
