#include "export/json_lines.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backup/base64.h"
#include "export/row_json.h"
#include "interrupt.h"

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

constexpr const char* FILES_UNNAMEABLE = "files whose names are not UTF-8";

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

std::string unguessable() {
  std::random_device random;
  std::string word = "file";
  for (int i = 0; i < 4; ++i) word += "-" + std::to_string(random());
  return word;
}

class LineWriter {
 public:
  LineWriter(const Database& database, ExportedMedia media, std::ostream& out)
      : _database(database),
        _media(std::move(media)),
        _out(out),
        _conversation(_database.query("SELECT * FROM msg_conversation_table WHERE convId = ?;")),
        _message(_database.query("SELECT * FROM msg_message_table WHERE msgId = ?;")),
        _addresses(_ofOwner(ADDRESSES)) {
    for (const Part& part : PARTS_OF_A_MESSAGE) _parts.push_back(_ofOwner(part));
  }

  LeftOut writeAll() {
    _line(head());
    Rows conversations = _database.query("SELECT * FROM msg_conversation_table ORDER BY convId;");
    while (conversations.next()) _writeConversation(row_of(conversations));
    Rows messages = _database.query("SELECT * FROM msg_message_table ORDER BY msgId;");
    while (messages.next()) _writeMessage(row_of(messages));
    _writeUnowned(ADDRESSES);
    for (const Part& part : PARTS_OF_A_MESSAGE) _writeUnowned(part);
    for (const char* const table : OTHER_TABLES) _writeTable(table, "");
    _writeEnd();
    return _leftOut;
  }

  /** Each message's conversation comes before the first one of it. */
  LeftOut writeMatching(const MessageFilter& filter) {
    // Before the first line: what is wrong with the filter is said instead of an export.
    MatchingMessages messages(filter);
    Json line = head();
    line["filtered"] = true;
    _line(line);
    std::set<Json> conversations;
    while (const auto id = messages.next()) {
      Json message = _row(_message, *id);
      if (message.is_null()) throw DatabaseFailure(SQLITE_CORRUPT);
      const Json& convId = message["convId"];
      if (conversations.insert(convId).second) {
        Json conversation = _row(_conversation, convId);
        if (!conversation.is_null()) _writeConversation(std::move(conversation));
      }
      _writeMessage(std::move(message));
    }
    _writeEnd();
    return _leftOut;
  }

 private:
  static Json head() { return {{"export", "msg-tarvel"}, {"version", EXPORT_VERSION}}; }

  void _line(const Json& line) {
    throw_if_interrupted();
    const std::string text = json_line(line);
    std::size_t written = 0;
    for (const std::string& name : _placed) {
      const std::size_t at = text.find(_placeholder, written);
      _out << std::string_view(text).substr(written, at - written);
      _writeFile(name);
      written = at + _placeholder.size();
    }
    _placed.clear();
    if (!(_out << std::string_view(text).substr(written) << "\n")) _failWriting();
  }

  /** Where its placeholder was: a line may be longer than memory has room for. */
  void _writeFile(const std::string& name) {
    MediaFile file(_media.source, name);
    if (!file.isPlain()) throw Failure("cannot read " + _media.source + "/" + name);
    encode_media(file, [this](std::string_view base64) {
      if (!(_out << base64)) _failWriting();
    });
  }

  [[noreturn]] static void _failWriting() { throw Failure("cannot write the output"); }

  void _writeEnd() {
    _line({{"end", {{"messages", _messages}, {"conversations", _conversations}}}});
  }

  /** The row with this key; null for none. */
  static Json _row(Rows& rows, const Json& key) {
    rows.reset();
    bind_json(rows, 1, key);
    Json row = rows.next() ? row_of(rows) : Json();
    rows.reset();
    return row;
  }

  void _writeConversation(Json conversation) {
    const Json convId = conversation["convId"];
    Json line;
    line["conversation"] = std::move(conversation);
    _addPart(line, ADDRESSES, _addresses, convId);
    _line(line);
    ++_conversations;
  }

  void _writeMessage(Json message) {
    const Json msgId = message["msgId"];
    Json line;
    line["message"] = std::move(message);
    for (std::size_t i = 0; i < _parts.size(); ++i) {
      _addPart(line, PARTS_OF_A_MESSAGE[i], _parts[i], msgId);
    }
    _line(line);
    ++_messages;
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
    while (rows.next()) {
      Json line = {{"table", table}};
      line["row"] = _withFiles(table, row_of(rows));
      _line(line);
    }
  }

  Json _withFiles(const std::string& table, Json row) {
    if (table != "msg_mms_content_table") return row;
    Json files = Json::object();
    for (const char* const column : FILE_COLUMNS) {
      const Json path = row.value(column, Json());
      // The row has it as base64, which import makes no file's name of.
      if (path.is_object()) ++_leftOut[FILES_UNNAMEABLE];
      if (!path.is_string()) continue;
      const auto name = path.get<std::string>();
      if (!name.empty()) _addFile(files, column, name);
    }
    if (!files.empty()) row["files"] = std::move(files);
    return row;
  }

  void _addFile(Json& files, const char* column, const std::string& path) {
    if (const char* const why = why_left_out(path, _media.source)) {
      ++_leftOut[why];
      return;
    }
    const std::string name = *name_in_media(path, _media.source);
    if (_media.target) {
      MediaFile file(_media.source, name);
      _media.target->write(name, file);
      files[column] = {{"name", name}};
    } else {
      files[column] = _placeholder;
      _placed.push_back(name);
    }
  }

  const Database& _database;
  const ExportedMedia _media;
  std::ostream& _out;
  Rows _conversation;
  Rows _message;
  Rows _addresses;
  std::vector<Rows> _parts;
  long _messages = 0;
  long _conversations = 0;
  LeftOut _leftOut;
  /** What no store has in it, for who makes it cannot know it. */
  const std::string _placeholder = unguessable();
  /** The files whose placeholders are in the line that is made, in its order. */
  std::vector<std::string> _placed;
};

}  // namespace

LeftOut write_json_lines(const Database& database, const ExportedMedia& media,
                         const MessageFilter& filter, std::ostream& out) {
  try {
    LineWriter writer(database, media, out);
    return is_unsaid(filter) ? writer.writeAll() : writer.writeMatching(filter);
  } catch (const DatabaseFailure& failure) {
    throw Failure(std::string("cannot export the message store: ") + failure.what());
  }
}

}  // namespace msg_tarvel::tool
