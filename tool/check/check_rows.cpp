// Rows that do not fit together.

#include "check/check.h"
#include "check/queries.h"
#include "check/summaries.h"

namespace msg_tarvel::tool {

namespace {

/** A table whose rows belong to something. */
struct Belonging {
  Kind kind;
  const char* orphans;
  const char* row;
  const char* owner;
};

constexpr Belonging BELONGINGS[] = {
    {Kind::ORPHAN_MESSAGES, SELECT_ORPHAN_MESSAGES, "message ", "conversation "},
    {Kind::ORPHAN_ADDRESSES, SELECT_ORPHAN_ADDRESSES, "address ", "conversation "},
    {Kind::ORPHAN_CONTENTS, SELECT_ORPHAN_CONTENTS, "content ", "message "},
    {Kind::ORPHAN_TRANSFERS, SELECT_ORPHAN_TRANSFERS, "transfer ", "message "},
    {Kind::ORPHAN_METADATA, SELECT_ORPHAN_METADATA, "metadata ", "message "},
    {Kind::ORPHAN_QUEUE, SELECT_ORPHAN_QUEUE, "queued transfer ", "message "},
    {Kind::ORPHAN_TRANSACTIONS, SELECT_ORPHAN_TRANSACTIONS, "transaction ", "message "},
};

std::string conversation(long long id) { return "conversation " + std::to_string(id); }

void check_orphans(const Database& database, Findings& findings) {
  for (const Belonging& belonging : BELONGINGS) {
    look_for(belonging.kind, findings, [&] {
      Rows rows = database.query(belonging.orphans);
      while (rows.next()) {
        findings.add(belonging.kind, belonging.row + rows.text(0),
                     "its " + std::string(belonging.owner) + rows.text(1) + " is not there");
      }
    });
  }
}

void check_counters(const Database& database, Findings& findings) {
  const auto summaries = read_summaries(database);
  Rows conversations = database.query(SELECT_CONVERSATIONS);
  while (conversations.next()) {
    const long long convId = conversations.number(0);
    const auto found = summaries.find(convId);
    const Summary summary = found == summaries.end() ? Summary() : found->second;
    if (conversations.number(1) != summary.messages) {
      findings.add(Kind::COUNTERS, conversation(convId),
                   "counts " + conversations.text(1) + " messages and has " +
                       std::to_string(summary.messages));
    }
    if (conversations.number(2) != summary.unread) {
      findings.add(Kind::UNREAD, conversation(convId),
                   "counts " + conversations.text(2) + " unread messages and has " +
                       std::to_string(summary.unread));
    }
  }
}

void check_last_messages(const Database& database, Findings& findings) {
  const auto summaries = read_summaries(database);
  Rows conversations = database.query(SELECT_CONVERSATIONS);
  Rows showsMessage = database.query(SHOWS_MESSAGE);
  Rows showsNothing = database.query(SHOWS_NOTHING);
  while (conversations.next()) {
    const long long convId = conversations.number(0);
    const auto found = summaries.find(convId);
    const long long newestId = found == summaries.end() ? 0 : found->second.newestId;
    Rows& shown = newestId == 0 ? showsNothing : showsMessage;
    shown.reset();
    if (shown.bind(1, newestId).bind(2, convId).next() && shown.number(0) != 0) continue;
    findings.add(Kind::LAST_MESSAGE, conversation(convId),
                 newestId == 0 ? "shows a message and has none"
                               : "does not show its last message, " + std::to_string(newestId));
  }
}

void check_emptiness(const Database& database, Kind kind, const char* query, const char* problem,
                     Findings& findings) {
  look_for(kind, findings, [&] {
    Rows rows = database.query(query);
    while (rows.next()) findings.add(kind, conversation(rows.number(0)), problem);
  });
}

}  // namespace

void check_rows(const CheckedStore& store, Findings& findings) {
  const Database& database = store.database;
  check_orphans(database, findings);
  // One of the two is enough to look; what is not wanted is not kept.
  const Kind counted = findings.wants(Kind::COUNTERS) ? Kind::COUNTERS : Kind::UNREAD;
  look_for(counted, findings, [&] { check_counters(database, findings); });
  look_for(Kind::LAST_MESSAGE, findings, [&] { check_last_messages(database, findings); });
  check_emptiness(database, Kind::NO_MESSAGES, SELECT_WITHOUT_MESSAGES, "has no messages",
                  findings);
  check_emptiness(database, Kind::NO_ADDRESSES, SELECT_WITHOUT_ADDRESSES, "has no addresses",
                  findings);
}

}  // namespace msg_tarvel::tool
