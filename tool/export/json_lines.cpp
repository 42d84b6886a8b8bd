#include "export/json_lines.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "export/media_files.h"
#include "export/row_json.h"
#include "import/interrupt.h"

namespace msg_tarvel::tool {

namespace {

/** Tables whose rows stand on a line of another one, by the column that names it. */
struct Part {
  const char* list;
  const char* table;
  const char* key;
  const char* owner;
  const char* order;
};

constexpr Part ADDRESSES = {"addresses", "msg_address_table", "convId", "msg_conversation_table",
                            "addressId"};
constexpr Part PARTS_OF_A_MESSAGE[] = {
    {"contents", "msg_mms_content_table", "msgId", "msg_message_table", "contentId"},
    {"metadata", "msg_nms_meta_table", "msgId", "msg_message_table", "id"},
    {"transfers", "msg_ft_content_table", "msgId", "msg_message_table", "id"},
};

constexpr const char* FILE_COLUMNS[] = {"filepath", "thumbpath"};

constexpr const char* OTHER_TABLES[] = {
    "temp_log",
    "ft_queue_table",
    "deleted_msg_table",
    "respond_msg_table",
    "msg_sim_table",
    "mssi_info_table",
    "message_transaction_table",
    "msg_sharedial_meta_table",
    // The numbers that no row gets again. Behind all others.
    "sqlite_sequence",
};

class Writer {
 public:
  Writer(const Database& database, const std::string& media, const std::string& target,
         std::ostream& out)
      : _database(database), _media(media), _target(target), _out(out) {}

  LeftOut write() {
    _line({{"export", "msg-tarvel"}, {"version", EXPORT_VERSION}});
    _writeConversations();
    _writeMessages();
    _writeUnowned(ADDRESSES);
    for (const Part& part : PARTS_OF_A_MESSAGE) _writeUnowned(part);
    for (const char* const table : OTHER_TABLES) _writeTable(table, "");
    return _leftOut;
  }

 private:
  void _line(const Json& line) {
    throw_if_interrupted();
    _out << line.dump() << "\n";
  }

  void _writeConversations() {
    Rows conversations = _database.query("SELECT * FROM msg_conversation_table ORDER BY convId;");
    Rows addresses = _ofOwner(ADDRESSES);
    while (conversations.next()) {
      Json line = {{"conversation", row_of(conversations)}};
      _addPart(line, ADDRESSES, addresses, line["conversation"]["convId"]);
      _line(line);
    }
  }

  void _writeMessages() {
    std::vector<Rows> parts;
    for (const Part& part : PARTS_OF_A_MESSAGE) parts.push_back(_ofOwner(part));
    Rows messages = _database.query("SELECT * FROM msg_message_table ORDER BY msgId;");
    while (messages.next()) {
      Json line = {{"message", row_of(messages)}};
      for (std::size_t i = 0; i < parts.size(); ++i) {
        _addPart(line, PARTS_OF_A_MESSAGE[i], parts[i], line["message"]["msgId"]);
      }
      _line(line);
    }
  }

  Rows _ofOwner(const Part& part) const {
    return _database.query(std::string("SELECT * FROM ") + part.table + " WHERE " + part.key +
                           " = ? ORDER BY " + part.order + ";");
  }

  void _addPart(Json& line, const Part& part, Rows& rows, const Json& owner) {
    rows.reset();
    bind_json(rows, 1, owner);
    while (rows.next()) line[part.list].push_back(_withFiles(part.table, row_of(rows)));
  }

  /** Rows whose owner is missing. */
  void _writeUnowned(const Part& part) {
    _writeTable(part.table, std::string(" WHERE ") + part.key + " IS NULL OR " + part.key +
                                " NOT IN (SELECT " + part.key + " FROM " + part.owner + ")");
  }

  void _writeTable(const std::string& table, const std::string& condition) {
    Rows rows = _database.query("SELECT * FROM " + table + condition + " ORDER BY rowid;");
    while (rows.next()) _line({{"table", table}, {"row", _withFiles(table, row_of(rows))}});
  }

  Json _withFiles(const std::string& table, Json row) {
    if (table != "msg_mms_content_table") return row;
    Json files = Json::object();
    for (const char* const column : FILE_COLUMNS) {
      const Json path = row.value(column, Json());
      if (path.is_string() && path != "") _addFile(files, column, path.get<std::string>());
    }
    if (!files.empty()) row["files"] = std::move(files);
    return row;
  }

  void _addFile(Json& files, const char* column, const std::string& path) {
    const auto name = name_in_media(path, _media);
    const auto bytes = name ? read_media(_media, *name) : std::nullopt;
    if (!bytes) {
      ++_leftOut.files;
    } else if (_target.empty()) {
      files[column] = base64_of(*bytes);
    } else {
      if (_written.insert(*name).second) write_new_file(_target + "/" + *name, *bytes);
      files[column] = {{"name", *name}};
    }
  }

  const Database& _database;
  const std::string _media;
  const std::string _target;
  std::ostream& _out;
  std::set<std::string> _written;
  LeftOut _leftOut;
};

}  // namespace

LeftOut write_json_lines(const Database& database, const std::string& media,
                         const std::string& target, std::ostream& out) {
  try {
    return Writer(database, media, target, out).write();
  } catch (const DatabaseFailure& failure) {
    throw Failure(std::string("cannot export the message store: ") + failure.what());
  }
}

}  // namespace msg_tarvel::tool
