#pragma once

namespace msg_tarvel::tool {

/**
 * From now on SQLite opens the store's database, and what lies beside it, in the directory that has
 * the store's name when the database is first opened, whatever gets that name afterwards; it
 * follows no link to them and takes no file that has another name elsewhere, or is a stranger's. It
 * deletes no file that a journal names. Without /proc all but the last is as in any other program.
 *
 * Not before SQLite has been configured. Throws std::bad_alloc.
 */
void guard_store();

}  // namespace msg_tarvel::tool
