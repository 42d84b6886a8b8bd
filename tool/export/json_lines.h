#pragma once

#include <iosfwd>
#include <map>
#include <string>

#include "export/media_files.h"
#include "filter/message_filter.h"
#include "store/database.h"

namespace msg_tarvel::tool {

// The export of a store as lines of JSON, each of which is an object:
//
//   {"export": "msg-tarvel", "version": 1}
//   {"conversation": {column: value, ...}, "addresses": [row, ...]}
//   {"message": row, "contents": [row, ...], "metadata": [row, ...], "transfers": [row, ...]}
//   {"row": row, "table": name}          everything else
//   {"end": {"messages": count, "conversations": count}}
//
// The first one has "filtered": true when it is not the whole store that follows. The last one says
// how many lines of these kinds came before it, so that nobody takes a part of an export for all of
// it.
//
// Lists that are empty are left out. A row of "contents" has, beside its columns, "files": for
// "filepath" and "thumbpath" the file's bytes in base64, or with a directory for media the name
// that the file has there: {"filepath": {"name": "12-1.jpg"}}.

constexpr int EXPORT_VERSION = 1;

/** What an export had to leave out: how often, by what. */
using LeftOut = std::map<std::string, long>;

/** Where the files of contents are, and where they go. */
struct ExportedMedia {
  /** The store's own directory of them: a row can name any file of the system. */
  std::string source;
  /** Where they are copied to; without it they are part of what is written. */
  MediaTarget* target = nullptr;
};

/**
 * Writes the messages that `filter` lets pass with their conversations or, when it has no word,
 * the whole store, whose library's connection `database` is. Memory does not grow with the store.
 * Throws Failure.
 */
LeftOut write_json_lines(const Database& database, const ExportedMedia& media,
                         const MessageFilter& filter, std::ostream& out);

}  // namespace msg_tarvel::tool
