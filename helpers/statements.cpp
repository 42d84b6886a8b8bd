#include "helpers/statements.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>

#include "helpers/store_error.h"

namespace msg_tarvel::helpers {

void execute(const std::string& sql, std::string_view purpose) {
  const int ret = db::DBMgr::getInstance()->execStatement(sql);
  if (ret != db::DB_SUCCESS) throw StoreError(std::string(purpose), ret);
}

std::unique_ptr<db::SqlStatement> compile(const std::string& sql, std::string_view purpose) {
  auto statement = db::DBMgr::getInstance()->compileStatement(sql);
  if (!statement) throw StoreError(std::string(purpose), db::DB_ERR_PREPARE);
  return statement;
}

bool next_row(db::SqlStatement& statement, std::string_view purpose) {
  const int ret = statement.step();
  if (ret != db::DB_ROW && ret != db::DB_SUCCESS) throw StoreError(std::string(purpose), ret);
  return ret == db::DB_ROW;
}

void run(db::SqlStatement& statement, std::string_view purpose) {
  const int ret = statement.step();
  if (ret != db::DB_SUCCESS) throw StoreError(std::string(purpose), ret);
  statement.reset();
}

}  // namespace msg_tarvel::helpers
