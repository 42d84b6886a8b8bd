#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace msg_tarvel::helpers {

/** What make_store did. */
struct MadeStore {
  enum class State {
    /** There was no store. */
    NEW,
    /** Tables, columns, the version or the journal were missing. */
    COMPLETED,
    /** Nothing was missing. */
    WHOLE,
  };

  /** A file that its group could not write to, or that others could read. */
  struct MendedMode {
    std::string path;
    mode_t before;
  };

  State state = State::NEW;
  std::vector<MendedMode> mended;
};

/**
 * Makes what is missing of the message store, for the one process that owns it.
 *
 * The directories are made first; the files then under a umask that keeps everybody else out, until
 * they have their mode, 0660: who opened a file before would keep reading it for ever. The umask is
 * the process's, so no other thread should make files meanwhile. Files of another mode or group get
 * these where that is allowed.
 *
 * Throws StoreError unless the whole store is there and committed, and when a link or something
 * else of another kind, or a stranger's directory or file, stands in its place. Not within a
 * transaction.
 */
MadeStore make_store();

/**
 * Whether something in a store belongs to a user who has no part in it: who is neither root, nor
 * the caller, nor the owner of the data directory, and could not give it to the store's group. He
 * would read and change what is written to it.
 */
bool is_a_strangers(const struct stat& status, const std::string& dataDirectory);

/** What is said of such a file or directory, after its path. */
constexpr const char* IS_A_STRANGERS =
    " belongs neither to the owner of the data directory nor to group 5000";

/**
 * Makes the journal of a store that lacks it, with the mode and group of the store's files; false
 * when it is there or cannot be made.
 */
bool make_missing_journal();

/**
 * Adds the tables, the columns and the version that a store lacks. Within a transaction of the
 * caller's. Throws StoreError when something cannot be added, and for a store of another version.
 */
void complete_schema();

}  // namespace msg_tarvel::helpers
