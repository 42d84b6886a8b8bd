// What `repair` does about each kind of finding. The statements stand together below.

#include "check/mend.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "check/check.h"
#include "check/queries.h"
#include "check/store_files.h"
#include "check/summaries.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/store_indexes.h"
#include "helpers/store_maker.h"
#include "helpers/store_schema.h"
#include "helpers/transaction.h"
#include "interrupt.h"
#include "store/connections.h"
#include "store/log_sink.h"
#include "store/media.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

using helpers::CANNOT_WRITE;

/** What a kind takes that deletes or inserts rows. */
struct RowMending {
  Kind kind;
  const char* statement;
};

// The conversations come first: messages that have one again are no orphans.
constexpr RowMending ROW_MENDINGS[] = {
    {Kind::ORPHAN_MESSAGES,
     "INSERT INTO msg_conversation_table (convId, unreadCnt, msgCnt, msgType, storageFolder, "
     "displayTime, mainText, msgText, peerConvId, peerChatType, peerChatSessionId, peerChatState, "
     "stickerId) SELECT DISTINCT convId, 0, 0, '', 0, 0, '', '', 0, 0, '', 0, 0 FROM "
     "msg_message_table WHERE convId > 0 AND convId IN (SELECT convId FROM msg_address_table) AND "
     "convId NOT IN (SELECT convId FROM msg_conversation_table);"},
    {Kind::ORPHAN_ADDRESSES,
     "DELETE FROM msg_address_table WHERE convId NOT IN (SELECT convId FROM "
     "msg_conversation_table) AND convId NOT IN (SELECT convId FROM msg_message_table);"},
    {Kind::ORPHAN_CONTENTS,
     "DELETE FROM msg_mms_content_table WHERE msgId NOT IN (SELECT msgId FROM msg_message_table) "
     "AND coalesce(filepath, '') = '' AND coalesce(thumbpath, '') = '';"},
    {Kind::ORPHAN_TRANSFERS,
     "DELETE FROM msg_ft_content_table WHERE msgId NOT IN (SELECT msgId FROM msg_message_table) "
     "AND coalesce(filepath, '') = '';"},
    {Kind::ORPHAN_METADATA,
     "DELETE FROM msg_nms_meta_table WHERE msgId NOT IN (SELECT msgId FROM msg_message_table);"},
    {Kind::ORPHAN_QUEUE,
     "DELETE FROM ft_queue_table WHERE msgId NOT IN (SELECT msgId FROM msg_message_table);"},
    {Kind::ORPHAN_TRANSACTIONS,
     "DELETE FROM message_transaction_table WHERE msgId NOT IN "
     "(SELECT msgId FROM msg_message_table);"},
};

constexpr const char* SET_COUNT =
    "UPDATE msg_conversation_table SET msgCnt = ?1 WHERE convId = ?2 AND msgCnt IS NOT ?1;";
constexpr const char* SET_UNREAD =
    "UPDATE msg_conversation_table SET unreadCnt = ?1 WHERE convId = ?2 AND unreadCnt IS NOT ?1;";
/** NULL, all of it, for no message. */
constexpr const char* SET_LAST_MESSAGE =
    "UPDATE msg_conversation_table SET (msgType, storageFolder, displayTime, expiryTime, mainText, "
    "msgText, stickerId, lastMsgId) = (SELECT msgType, storageFolder, displayTime, expiryTime, "
    "mainText, textMessage, stickerId, msgId FROM msg_message_table WHERE msgId = ?1) "
    "WHERE convId = ?2;";

/** A complaint of SQLite's that leaves the rows themselves sound. */
bool is_about_indexes(const std::string& complaint) {
  return complaint.find(" missing from index ") != std::string::npos ||
         complaint.rfind("wrong # of entries in index ", 0) == 0;
}

bool is_about_values(const std::string& complaint) {
  return complaint.rfind("NULL value in ", 0) == 0;
}

bool has(const Findings& found, Kind kind) { return found.count(kind) > 0; }

/** Undoes `action` alone when the store refuses it: that finding is left. */
template <typename Action>
void try_to(Action&& action) {
  helpers::execute("SAVEPOINT mending;", CANNOT_WRITE);
  try {
    action();
  } catch (const helpers::StoreError&) {
    helpers::execute("ROLLBACK TO mending;", CANNOT_WRITE);
  }
  helpers::execute("RELEASE mending;", CANNOT_WRITE);
}

void mend_indexes() {
  const Database database(last_connection());
  for (const helpers::IndexSchema& index : helpers::STORE_INDEXES) {
    Rows rows = database.query(SELECT_INDEX);
    const std::string text = std::string("CREATE INDEX ") + index.name + " ON " + index.definition;
    if (!rows.bind(1, index.name).next() || rows.text(0) == text) continue;
    rows.reset();
    helpers::execute(std::string("DROP INDEX ") + index.name + ";", CANNOT_WRITE);
  }
  helpers::make_indexes();
}

void mend_schema(const Findings& found) {
  if (has(found, Kind::TABLES) || has(found, Kind::COLUMNS) || has(found, Kind::VERSION)) {
    try_to(&helpers::complete_schema);
  }
  if (has(found, Kind::INTEGRITY)) {
    try_to([] { helpers::execute("REINDEX;", CANNOT_WRITE); });
  }
  if (has(found, Kind::INDEXES)) try_to(&mend_indexes);
}

std::set<long long> conversations_of(const Database& database) {
  std::set<long long> convIds;
  Rows rows = database.query(SELECT_CONVERSATIONS);
  while (rows.next()) convIds.insert(rows.number(0));
  return convIds;
}

void set(const Database& database, const char* sql, long long value, long long convId) {
  Rows update = database.query(sql);
  update.bind(1, value).bind(2, convId).next();
}

void mend_last_message(const Database& database, long long newestId, long long convId) {
  Rows shown = database.query(newestId == 0 ? SHOWS_NOTHING : SHOWS_MESSAGE);
  const bool isRight = shown.bind(1, newestId).bind(2, convId).next() && shown.number(0) != 0;
  shown.reset();
  if (!isRight) set(database, SET_LAST_MESSAGE, newestId, convId);
}

/** A conversation that was not `known` before has everything to learn. */
void mend_conversations(const Findings& found, const std::set<long long>& known) {
  const Database database(last_connection());
  const auto summaries = read_summaries(database);
  for (const long long convId : conversations_of(database)) {
    const bool isNew = known.count(convId) == 0;
    const auto summary = summaries.find(convId);
    const Summary right = summary == summaries.end() ? Summary() : summary->second;
    if (isNew || has(found, Kind::COUNTERS)) set(database, SET_COUNT, right.messages, convId);
    if (isNew || has(found, Kind::UNREAD)) set(database, SET_UNREAD, right.unread, convId);
    if (isNew || has(found, Kind::LAST_MESSAGE)) {
      mend_last_message(database, right.newestId, convId);
    }
  }
}

void mend_rows(const Findings& found) {
  const std::set<long long> known = conversations_of(Database(last_connection()));
  for (const RowMending& mending : ROW_MENDINGS) {
    if (has(found, mending.kind) || has(found, Kind::FOREIGN_KEYS)) {
      try_to([&] { helpers::execute(mending.statement, CANNOT_WRITE); });
    }
  }
  mend_conversations(found, known);
}

/** A file that has another name may be one of somebody else's. */
bool is_of_store_alone(const struct stat& status, const StorePlace& place) {
  if (place.isDirectory) return S_ISDIR(status.st_mode);
  return S_ISREG(status.st_mode) && status.st_nlink == 1;
}

/** Follows no link below the data directory; -1 when there is one. */
int open_place(const std::string& path) {
  constexpr int FLAGS = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  const std::size_t slash = path.find('/', data_directory().size());
  if (slash == std::string::npos) return open(path.c_str(), FLAGS);
  const int directory = open(path.substr(0, slash).c_str(), FLAGS | O_DIRECTORY);
  if (directory == -1) return -1;
  const int place = openat(directory, path.c_str() + slash + 1, FLAGS);
  close(directory);
  return place;
}

/**
 * By a descriptor: every member of the group may put a link to another file into media, also after
 * its name was looked at. What may not be changed is left.
 */
void mend_place(const StorePlace& place, bool setsGroup, bool setsMode) {
  const int file = open_place(place.path);
  struct stat status = {};
  if (file != -1 && fstat(file, &status) == 0 && is_of_store_alone(status, place)) {
    if (setsGroup) {
      constexpr auto SAME_OWNER = static_cast<uid_t>(-1);
      static_cast<void>(fchownat(file, "", SAME_OWNER, STORE_GROUP, AT_EMPTY_PATH) == 0);
    }
    if (setsMode) {
      const std::string itself = "/proc/self/fd/" + std::to_string(file);
      static_cast<void>(chmod(itself.c_str(), wanted_mode(place)) == 0);
    }
  }
  if (file != -1) close(file);
}

}  // namespace

bool is_damaged(const Findings& findings) {
  return std::any_of(findings.all().begin(), findings.all().end(), [](const Finding& finding) {
    return finding.kind == Kind::INTEGRITY && !is_about_indexes(finding.problem) &&
           !is_about_values(finding.problem);
  });
}

void summarise_conversations() { mend_conversations(Findings({}), {}); }

void mend_database(const Findings& found) {
  forget_log_errors();
  const helpers::StoreSession session;
  wait_interruptibly();
  // Its beginning undoes what is pending and ends the write-ahead mode.
  helpers::Transaction transaction;
  // Undoing ends the journal with what it holds.
  if (has(found, Kind::JOURNAL) || has(found, Kind::ROLLBACK)) helpers::make_missing_journal();
  mend_schema(found);
  mend_rows(found);
  throw_if_interrupted();
  // Found or not: while somebody wrote, or undid what was cut short, they could be an import's.
  if (found.wants(Kind::UNNAMED_FILES) || found.wants(Kind::MISSING_FILES)) {
    settle_left_files(media_directory());
  }
  transaction.commit();
}

void mend_files(const Findings& found) {
  for (const StorePlace& place : places_of(data_directory(), names_in(media_directory()))) {
    const bool isGroupWrong =
        has(found, Kind::GROUP) && place.isOfGroup && place.group != STORE_GROUP;
    const bool isModeWrong = has(found, Kind::MODES) && place.mode != wanted_mode(place);
    if (isGroupWrong || isModeWrong) mend_place(place, isGroupWrong, isModeWrong);
  }
}

}  // namespace msg_tarvel::tool
