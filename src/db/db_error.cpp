#include "msg-tarvel-common/db/db_error.h"

namespace msg_tarvel::db {

const char* db_error_text(int code) {
  switch (code) {
    case DB_SUCCESS:
      return "success";
    case -1:
      return "a directory or file of the message store cannot be made";
    case DB_ERR_INVALID_ARGUMENT:
      return "an argument is out of range";
    case DB_ERR_INVALID_PARAM:
      return "there is no such folder to list messages of";
    case DB_ERR_ACCESS:
      return "this user may not read the message store";
    case DB_ERR_OPEN:
      return "the message store cannot be opened";
    case DB_ERR_CLOSE:
      return "the message store cannot be closed, a statement may still be in use";
    case DB_ERR_PREPARE:
      return "a statement cannot be compiled, or the message store cannot be opened for it";
    case DB_ERR_STEP:
      return "a statement failed while it ran";
    case DB_ERR_EXEC:
      return "a statement cannot be carried out";
    case DB_NO_DATA:
      return "nothing was found";
    case DB_ROW:
      return "a row is there to be read";
    default:
      return "this is no result code";
  }
}

}  // namespace msg_tarvel::db
