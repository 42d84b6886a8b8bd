// The process that owns the store: makes it, and adds a conversation with one unread message in one
// transaction. Everything or nothing of it arrives.

#include <msg-tarvel-common/msg-tarvel-common.h>
#include <sys/stat.h>
#include <iostream>

using msg_tarvel::db::DB_SUCCESS;
using msg_tarvel::db::DBMgr;

namespace {

/**
 * The directories are for everyone to enter; the files are closed to others from the moment that
 * they are there, for who has opened one keeps reading it.
 */
bool make_store() {
  mkdir(msg_tarvel::db::get_data_dir_path().c_str(), 0755);
  mkdir(msg_tarvel::db::get_db_dir_path().c_str(), 0755);
  const mode_t before = umask(0077);
  DBMgr* const store = DBMgr::getInstance();
  // createDb does not look at its own commit: what that left open is committed here.
  const bool made = store->createDb() == DB_SUCCESS && store->endTransaction(true) == DB_SUCCESS;
  umask(before);
  return made;
}

/** Runs one statement that returns no rows, with `text` as its only parameter. */
bool run(const std::string& sql, const std::string& text) {
  const auto statement = DBMgr::getInstance()->compileStatement(sql);
  if (!statement) return false;
  statement->bind(1, text.c_str());  // not copied: `text` outlives the step
  return statement->step() == DB_SUCCESS;
}

bool add_message(const std::string& from, const std::string& text) {
  return run("INSERT INTO msg_conversation_table (unreadCnt, msgCnt, storageFolder, displayTime, "
             "mainText) VALUES (1, 1, 1, strftime('%s', 'now') * 1000, ?);",
             text) &&
         run("INSERT INTO msg_address_table (convId, addressType, recipientType, address) "
             "SELECT max(convId), 1, 1, ? FROM msg_conversation_table;",
             from) &&
         run("INSERT INTO msg_message_table (convId, msgType, storageFolder, displayTime, read, "
             "mainText) SELECT max(convId), 'sms', 1, max(displayTime), 0, ? "
             "FROM msg_conversation_table;",
             text);
}

}  // namespace

int main() {
  msg_tarvel::db::init_db();
  DBMgr* const store = DBMgr::getInstance();
  bool done = make_store() && store->beginTransaction() == DB_SUCCESS;
  if (done) {
    done = add_message("+14155550100", "Are you coming?");
    done = store->endTransaction(done) == DB_SUCCESS && done;
  }
  std::cout << (done ? "stored in " : "failed in ") << msg_tarvel::db::get_db_filepath() << "\n";
  msg_tarvel::db::deinit_db();
  return done ? 0 : 1;
}
