#include "import/restore.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "backup/base64.h"
#include "backup/payload_stage.h"
#include "check/mend.h"
#include "exit_status.h"
#include "export/json_lines.h"
#include "export/media_files.h"
#include "export/row_json.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/store_indexes.h"
#include "helpers/transaction.h"
#include "interrupt.h"
#include "print/progress_bar.h"
#include "store/connections.h"
#include "store/database.h"
#include "store/media.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::string_view RESTORED_TABLES[] = {
    "temp_log",          "msg_address_table",      "msg_message_table",
    "ft_queue_table",    "msg_conversation_table", "deleted_msg_table",
    "respond_msg_table", "msg_mms_content_table",  "message_transaction_table",
    "msg_sim_table",     "msg_ft_content_table",   "msg_nms_meta_table",
    "mssi_info_table",   "sqlite_sequence",        "msg_sharedial_meta_table",
};

/** A store without messages can have rows there, of its own SIM cards or logs. */
constexpr std::string_view REPLACED_TABLES[] = {
    "temp_log",          "ft_queue_table",
    "deleted_msg_table", "respond_msg_table",
    "msg_sim_table",     "message_transaction_table",
    "mssi_info_table",   "msg_sharedial_meta_table",
};

/** The numbers that no row gets again. */
constexpr const char* SEQUENCES = "sqlite_sequence";

/** What is longer stands behind no number, where a name is taken or too long. */
constexpr std::size_t LONGEST_EXTENSION = 100;

/** The lists of a message's line, by the table that they go to. */
struct RestoredList {
  const char* name;
  const char* table;
};
constexpr RestoredList LISTS[] = {{"addresses", "msg_address_table"},
                                  {"contents", "msg_mms_content_table"},
                                  {"metadata", "msg_nms_meta_table"},
                                  {"transfers", "msg_ft_content_table"}};

template <std::size_t COUNT>
bool is_one_of(const std::string_view (&tables)[COUNT], const std::string& table) {
  return std::find(std::begin(tables), std::end(tables), table) != std::end(tables);
}

/** Far deeper than an export, whose values are also copied: that goes into a deeply nested one. */
bool is_deeply_nested(const std::string& json) {
  constexpr int DEEPEST = 32;
  int depth = 0;
  bool isInString = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char character = json[i];
    if (isInString && character == '\\') {
      ++i;
    } else if (character == '"') {
      isInString = !isInString;
    } else if (!isInString && (character == '[' || character == '{')) {
      if (++depth > DEEPEST) return true;
    } else if (!isInString && (character == ']' || character == '}')) {
      --depth;
    }
  }
  return false;
}

/** Inserts rows as they were. */
class RowInserter {
 public:
  explicit RowInserter(sqlite3* handle) : _database(handle) {}

  void insert(const std::string& table, const Json& row) {
    if (!row.is_object() || row.empty()) throw Failure("a row is no object");
    Rows& statement = _statementFor(table, row);
    int parameter = 0;
    for (const auto& value : row) bind_json(statement, ++parameter, value);
    statement.next();
    statement.reset();
  }

 private:
  Rows& _statementFor(const std::string& table, const Json& row) {
    if (!is_one_of(RESTORED_TABLES, table)) {
      throw Failure("a store has no table '" + table + "'");
    }
    std::string columns;
    std::string values;
    for (const auto& [column, value] : row.items()) {
      columns += (columns.empty() ? "" : ", ") + quoted_name(column);
      values += values.empty() ? "?" : ", ?";
    }
    const std::string sql =
        (is_one_of(REPLACED_TABLES, table) ? "INSERT OR REPLACE INTO " : "INSERT INTO ") + table +
        " (" + columns + ") VALUES (" + values + ");";
    auto known = _statements.find(sql);
    if (known == _statements.end()) {
      known = _statements.emplace(sql, _database.query(sql)).first;
    }
    return known->second;
  }

  const Database _database;
  std::map<std::string, Rows> _statements;
};

/** Otherwise the store or the machine failed. */
bool is_about_the_row(const DatabaseFailure& failure) {
  constexpr int CODES[] = {SQLITE_ERROR, SQLITE_CONSTRAINT, SQLITE_MISMATCH};
  return std::find(std::begin(CODES), std::end(CODES), failure.code()) != std::end(CODES);
}

/** The lines of a file, one after the other. */
class FileLines {
 public:
  explicit FileLines(const BackupFile& file) : _stream(file) {}

  bool next(std::string& line) {
    line.clear();
    for (;;) {
      const std::size_t end = _piece.find('\n', _taken);
      line.append(_piece, _taken, end == std::string::npos ? end : end - _taken);
      _taken = end == std::string::npos ? _piece.size() : end + 1;
      if (end != std::string::npos) return true;
      if (!_fill()) return !line.empty();
    }
  }
  long long position() const { return _stream.position(); }

 private:
  bool _fill() {
    constexpr std::size_t PIECE = 65536;
    throw_if_interrupted();
    _piece.resize(PIECE);
    _piece.resize(_stream.read(_piece.data(), PIECE));
    _taken = 0;
    return !_piece.empty();
  }

  BackupStream _stream;
  std::string _piece;
  std::size_t _taken = 0;
};

class Restoration {
 public:
  Restoration(const BackupFile& file, const ImportOptions& options, PayloadStage& stage)
      : _file(file), _options(options), _stage(stage), _inserter(last_connection()) {
    _summary.file = file.name();
  }

  ImportSummary read() {
    FileLines lines(_file);
    std::string text;
    for (long number = 1; lines.next(text); ++number) {
      try {
        _takeLine(parse(text), number == 1);
      } catch (const DatabaseFailure& failure) {
        if (!is_about_the_row(failure)) throw;
        throw Failure(_at(number) + failure.what());
      } catch (const Failure& failure) {
        throw Failure(_at(number) + failure.what());
      }
      _bar.update("importing", lines.position(), _file.size());
    }
    if (!_hasEnded) throw Failure(_file.name() + ": cut short: its last line is missing");
    // Conversations came with the counters of the whole store.
    if (_isFiltered) summarise_conversations();
    _summary.stored = _summary.read;
    return _summary;
  }

 private:
  /** Where a message about line `number` begins. */
  std::string _at(long number) const { return _file.name() + ":" + std::to_string(number) + ": "; }

  static Json parse(const std::string& text) {
    if (is_deeply_nested(text)) throw Failure("no line of an export: it is nested too deeply");
    Json line = Json::parse(text, nullptr, false);
    // A NUL byte is the end for who parses, whatever is behind it.
    if (!line.is_object() || text.find('\0') != std::string::npos) {
      throw Failure("no line of an export");
    }
    refuse_wide_integers(text);
    return line;
  }

  void _takeLine(const Json& line, bool isFirst) {
    if (isFirst) {
      _takeHead(line);
    } else if (_hasEnded) {
      throw Failure("a line behind the last one of an export");
    } else if (line.contains("end")) {
      _takeEnd(line["end"]);
    } else if (line.contains("conversation")) {
      _inserter.insert("msg_conversation_table", line["conversation"]);
      ++_summary.conversationsCreated;
      _takeLists(line);
    } else if (line.contains("message")) {
      _inserter.insert("msg_message_table", line["message"]);
      ++_summary.read;
      _takeLists(line);
    } else if (line.contains("row") && line.contains("table") && line["table"].is_string()) {
      _takeRow(line["table"].get<std::string>(), line["row"]);
    } else {
      throw Failure("no line of an export");
    }
  }

  void _takeHead(const Json& line) {
    if (line.value("export", Json()) != "msg-tarvel") throw Failure("no export of msg-tarvel");
    if (line.value("version", Json()) != EXPORT_VERSION) {
      throw Failure("an export of another version");
    }
    _isFiltered = line.value("filtered", Json()) == true;
    if (_isFiltered) return;
    // Those of the store that this one is to become.
    helpers::execute("DELETE FROM sqlite_sequence; DELETE FROM mssi_info_table;",
                     helpers::CANNOT_WRITE);
  }

  void _takeEnd(const Json& end) {
    const bool isWhole = end.is_object() && end.value("messages", Json()) == _summary.read &&
                         end.value("conversations", Json()) == _summary.conversationsCreated;
    if (!isWhole) throw Failure("lines before this one are missing or too many");
    _hasEnded = true;
  }

  void _takeLists(const Json& line) {
    for (const RestoredList& list : LISTS) {
      if (!line.contains(list.name)) continue;
      for (const Json& row : line[list.name]) _takeRow(list.table, row);
    }
  }

  void _takeRow(const std::string& table, Json row) {
    if (!row.is_object()) throw Failure("a row is no object");
    if (const auto files = row.find("files"); files != row.end()) {
      const Json held = *files;
      row.erase("files");
      for (const auto& [column, file] : held.items()) _takeFile(row, column, file);
    }
    if (table == SEQUENCES) _forgetSequence(row);
    const Json path = row.value("filepath", Json());
    const auto moved = path.is_string() ? _moved.find(path.get<std::string>()) : _moved.end();
    if (moved != _moved.end()) row["filepath"] = moved->second;
    _inserter.insert(table, row);
  }

  /** SQLite has begun one itself for the rows that came before. */
  static void _forgetSequence(const Json& row) {
    const Json name = row.value("name", Json());
    const auto statement =
        helpers::compile("DELETE FROM sqlite_sequence WHERE name = ?;", helpers::CANNOT_WRITE);
    const std::string text = name.is_string() ? name.get<std::string>() : "";
    helpers::bind_all(*statement, text);
    helpers::run(*statement, helpers::CANNOT_WRITE);
  }

  /** Gives the file its name in this store, and the row its path. */
  void _takeFile(Json& row, const std::string& column, const Json& file) {
    const Json original = row.value(column, Json());
    if (!original.is_string()) throw Failure("a file without a path");
    const auto path = original.get<std::string>();
    auto known = _moved.find(path);
    if (known == _moved.end()) {
      known = _moved.emplace(path, _keep(path, _contentOf(file))).first;
      ++_summary.partsStored;
    }
    row[column] = known->second;
  }

  /** In base64. */
  std::string _contentOf(const Json& file) const {
    if (file.is_string()) return file.get<std::string>();
    if (!file.is_object() || !file.contains("name") || !file["name"].is_string()) {
      throw Failure("a file is neither held nor named");
    }
    if (_options.media.empty()) throw Failure("its files are elsewhere: give --media DIR");
    const auto name =
        name_in_media(_options.media + "/" + file["name"].get<std::string>(), _options.media);
    if (!name || !MediaFile(_options.media, *name).isPlain()) {
      throw Failure("no file " + file["name"].get<std::string>() + " in --media");
    }
    MediaFile held(_options.media, *name);
    std::string base64;
    encode_media(held, [&base64](std::string_view piece) { base64 += piece; });
    return base64;
  }

  std::string _keep(const std::string& path, const std::string& base64) {
    const std::string name = path.substr(path.rfind('/') + 1);
    if (name.empty() || name[0] == '.' || name.find('\0') != std::string::npos) {
      throw Failure("no name for a file: " + name);
    }
    std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || name.size() - dot > LONGEST_EXTENSION) {
      dot = name.size();
    }
    const Payload payload = _stage.decodeFile(base64);
    if (payload.state != Payload::State::WHOLE) throw Failure("damaged base64 of " + name);
    return _stage.keep(payload, name.substr(0, dot), name.substr(dot));
  }

  const BackupFile& _file;
  const ImportOptions& _options;
  PayloadStage& _stage;
  RowInserter _inserter;
  /** Paths of this store by those of the other one. */
  std::map<std::string, std::string> _moved;
  bool _isFiltered = false;
  bool _hasEnded = false;
  ProgressBar _bar;
  ImportSummary _summary;
};

/** An export is restored as it is, or not at all. */
void refuse_options_for_phones(const BackupFile& file, const ImportOptions& options) {
  std::string refused;
  if (options.keepsGoing) refused = "--keep-going";
  if (!options.ownNumbers.empty()) refused = "--own-number";
  if (refused.empty()) return;
  throw UsageError(file.name() + " is an export; " + refused + " is only for phones' backups");
}

void require_no_messages() {
  if (helpers::number("SELECT EXISTS (SELECT 1 FROM msg_message_table) "
                      "OR EXISTS (SELECT 1 FROM msg_conversation_table) "
                      "OR EXISTS (SELECT 1 FROM msg_address_table);",
                      helpers::CANNOT_READ) != 0) {
    throw Failure(
        "the store has messages or conversations; an export is read back into an empty "
        "one");
  }
}

}  // namespace

bool is_export(const BackupFile& file) {
  char first = 0;
  return BackupStream(file).read(&first, 1) == 1 && first == '{';
}

ImportSummary restore_export(const BackupFile& file, const ImportOptions& options) {
  refuse_options_for_phones(file, options);
  std::optional<helpers::Transaction> transaction(std::in_place);
  require_no_messages();
  if (!options.isDryRun) settle_left_files(media_directory());
  PayloadStage stage(media_directory(), options.isDryRun);
  const std::vector<std::string> indexes = helpers::set_indexes_aside();
  ImportSummary summary = Restoration(file, options, stage).read();
  helpers::restore_indexes(indexes);
  if (!options.withoutIndexes) helpers::make_indexes();
  throw_if_interrupted();
  if (options.isDryRun) return summary;
  commit_with_files(transaction, stage);
  return summary;
}

}  // namespace msg_tarvel::tool
