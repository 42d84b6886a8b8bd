#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** What can be wrong with a store. */
enum class Kind {
  INTEGRITY,
  FOREIGN_KEYS,
  ROLLBACK,
  MODES,
  OWNER,
  GROUP,
  JOURNAL,
  VERSION,
  TABLES,
  COLUMNS,
  INDEXES,
  ORPHAN_MESSAGES,
  ORPHAN_ADDRESSES,
  ORPHAN_CONTENTS,
  ORPHAN_TRANSFERS,
  ORPHAN_METADATA,
  ORPHAN_QUEUE,
  ORPHAN_TRANSACTIONS,
  COUNTERS,
  UNREAD,
  LAST_MESSAGE,
  NO_MESSAGES,
  NO_ADDRESSES,
  SAME_PEOPLE,
  SAME_ENDING,
  MISSING_FILES,
  UNNAMED_FILES,
};

struct KindDescription {
  Kind kind;
  /** As it is typed and printed. */
  const char* name;
  const char* description;
  /** What `repair` does about it; null where that would be guessing. */
  const char* repair;
};

/** In the order in which they are looked for. */
constexpr KindDescription KINDS[] = {
    {Kind::INTEGRITY, "integrity", "what SQLite's integrity check says",
     "builds the indexes anew, if nothing else is damaged"},
    {Kind::FOREIGN_KEYS, "foreign-keys", "what SQLite's foreign key check says",
     "as for the orphans"},
    {Kind::ROLLBACK, "rollback", "a commit that was cut short, which the next user undoes",
     "undoes it"},
    {Kind::MODES, "modes", "files and directories that owner or group cannot use, or others can",
     "sets the mode"},
    {Kind::OWNER, "owner", "files of another user than the data directory's", nullptr},
    {Kind::GROUP, "group", "files of another group than 5000, which their owner could give them",
     "sets the group"},
    {Kind::JOURNAL, "journal", "a journal that is missing, or the write-ahead mode",
     "makes the journal, ends the mode"},
    {Kind::VERSION, "version", "a schema version other than 4", "stamps a store without one"},
    {Kind::TABLES, "tables", "tables that are missing, or that something else stands for",
     "makes missing ones"},
    {Kind::COLUMNS, "columns", "columns that are missing or of another type",
     "adds missing ones that may be NULL"},
    {Kind::INDEXES, "indexes", "indexes that are missing or have another definition", "makes them"},
    {Kind::ORPHAN_MESSAGES, "orphan-messages", "messages of a conversation that is not there",
     "makes the conversation, if it has addresses"},
    {Kind::ORPHAN_ADDRESSES, "orphan-addresses", "addresses of a conversation that is not there",
     "deletes them, if it has no messages either"},
    {Kind::ORPHAN_CONTENTS, "orphan-contents", "contents of a message that is not there",
     "deletes those without a file"},
    {Kind::ORPHAN_TRANSFERS, "orphan-transfers", "transferred files of a message that is not there",
     "deletes those without a file"},
    {Kind::ORPHAN_METADATA, "orphan-metadata", "metadata of a message that is not there",
     "deletes them"},
    {Kind::ORPHAN_QUEUE, "orphan-queue", "queued transfers of a message that is not there",
     "deletes them"},
    {Kind::ORPHAN_TRANSACTIONS, "orphan-transactions",
     "raw transactions of a message that is not there", "deletes them"},
    {Kind::COUNTERS, "counters", "conversations that count other messages than they have",
     "counts again"},
    {Kind::UNREAD, "unread", "conversations that count other unread messages than they have",
     "counts again"},
    {Kind::LAST_MESSAGE, "last-message", "conversations that show another message than the last",
     "takes them from the last message"},
    {Kind::NO_MESSAGES, "no-messages", "conversations without messages", nullptr},
    {Kind::NO_ADDRESSES, "no-addresses", "conversations without addresses", nullptr},
    {Kind::SAME_PEOPLE, "same-people", "conversations of the same people", nullptr},
    {Kind::SAME_ENDING, "same-ending",
     "different numbers that are one to the library, which compares their last digits", nullptr},
    {Kind::MISSING_FILES, "missing-files", "files that rows name and that are not there",
     "gives those their names that a killed import left"},
    {Kind::UNNAMED_FILES, "unnamed-files", "files in media that no row names",
     "removes those that a killed import left"},
};

const KindDescription& description_of(Kind kind);

/** The kinds of these names, all for none. Throws UsageError. */
std::vector<Kind> kinds_of(const std::vector<std::string>& names);

/** A line for each kind: its name, its description and, if asked for, what `repair` does. */
std::string list_of_kinds(bool withRepair);

}  // namespace msg_tarvel::tool
