#pragma once

#include <iosfwd>
#include <string>

#include "store/database.h"

namespace msg_tarvel::tool {

// The export of a store as lines of JSON, each of which is an object:
//
//   {"export": "msg-tarvel", "version": 1}
//   {"conversation": {column: value, ...}, "addresses": [row, ...]}
//   {"message": row, "contents": [row, ...], "metadata": [row, ...], "transfers": [row, ...]}
//   {"row": row, "table": name}          everything else
//
// Lists that are empty are left out. A row of "contents" has, beside its columns, "files": for
// "filepath" and "thumbpath" the file's bytes in base64, or with a directory for media the name
// that the file has there: {"filepath": {"name": "12-1.jpg"}}.

constexpr int EXPORT_VERSION = 1;

/** What an export had to leave out. */
struct LeftOut {
  /** Files that a row names and that are not in the store's media directory. */
  long files = 0;
};

/**
 * Writes what `database` holds. The files are those in `media`, the store's own directory of them:
 * a row can name any file of the system. With `target` they are copied there, else they are part of
 * the lines. Memory does not grow with the store. Throws Failure.
 */
LeftOut write_json_lines(const Database& database, const std::string& media,
                         const std::string& target, std::ostream& out);

}  // namespace msg_tarvel::tool
