// msg-tarvel info

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "check/store_files.h"
#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "filter/folder_words.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "print/json.h"
#include "print/local_time.h"
#include "print/printable.h"
#include "print/table.h"
#include "store/device_settings.h"
#include "store/store_paths.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

using helpers::CANNOT_READ;

struct Count {
  const char* name;
  const char* sql;
};
constexpr Count COUNTS[] = {
    {"conversations", "SELECT count(*) FROM msg_conversation_table;"},
    {"addresses", "SELECT count(*) FROM msg_address_table;"},
    {"messages", "SELECT count(*) FROM msg_message_table;"},
    {"unread",
     "SELECT count(*) FROM msg_message_table WHERE read = 0 AND storageFolder IN (1, 101);"},
    {"failed", "SELECT count(*) FROM msg_message_table WHERE networkStatus = 3;"},
    {"parts", "SELECT count(*) FROM msg_mms_content_table;"},
    {"files", "SELECT count(*) FROM msg_mms_content_table WHERE hasFile <> 0;"},
    {"deleted", "SELECT count(*) FROM deleted_msg_table;"},
};

std::string user_name(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry ? entry->pw_name : std::to_string(user);
}

std::string group_name(gid_t group) {
  const ::group* const entry = getgrgid(group);
  return entry ? entry->gr_name : std::to_string(group);
}

/** Null where there is no such file. */
Json file_json(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return nullptr;
  return {{"path", path},
          {"mode", octal(status.st_mode & 07777)},
          {"owner", user_name(status.st_uid)},
          {"group", group_name(status.st_gid)},
          {"size", static_cast<long long>(status.st_size)}};
}

Json names(const std::string& sql) {
  Json list = Json::array();
  const auto rows = helpers::compile(sql, CANNOT_READ);
  while (helpers::next_row(*rows, CANNOT_READ)) list.push_back(rows->getText(0));
  return list;
}

Json folders_json() {
  Json folders = Json::array();
  const auto rows = helpers::compile(
      "SELECT storageFolder, count(*) FROM msg_message_table GROUP BY storageFolder ORDER BY 1;",
      CANNOT_READ);
  while (helpers::next_row(*rows, CANNOT_READ)) {
    folders.push_back({{"folder", rows->getInt(0)},
                       {"name", folder_word(rows->getInt(0))},
                       {"messages", rows->getInt(1)}});
  }
  return folders;
}

/** In milliseconds; null without messages. */
Json time_json(const char* which) {
  const auto row = helpers::compile(
      std::string("SELECT count(*) > 0, ") + which + "(displayTime) FROM msg_message_table;",
      CANNOT_READ);
  const bool hasMessages = helpers::next_row(*row, CANNOT_READ) && row->getInt(0) != 0;
  return hasMessages ? Json(row->getInt64(1)) : Json(nullptr);
}

Json settings_json() {
  Json settings = Json::array();
  for (const Setting& setting : read_settings()) {
    settings.push_back({{"key", setting.key},
                        {"value", setting.isReadable ? Json(setting.value) : Json(nullptr)},
                        {"source", setting.source}});
  }
  return settings;
}

/** Everything, in the order in which it is shown. */
Json info_json(const StoreView& view) {
  const std::string database = database_path();
  Json counts;
  for (const Count& count : COUNTS) {
    counts[count.name] = helpers::number(count.sql, CANNOT_READ);
  }
  return {{"dataDirectory", file_json(data_directory())},
          {"database", file_json(database)},
          {"journal", file_json(database + JOURNAL_ENDING)},
          {"rollbackPending", view.isRollbackPending()},
          {"schemaVersion", helpers::number("PRAGMA user_version;", CANNOT_READ)},
          {"tables", names("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                           "'sqlite@_%' ESCAPE '@' ORDER BY name;")},
          {"indexes", names("SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT "
                            "NULL ORDER BY name;")},
          {"counts", std::move(counts)},
          {"folders", folders_json()},
          {"oldest", time_json("min")},
          {"newest", time_json("max")},
          {"settings", settings_json()}};
}

/** Where a line ends that has `room` columns: at a blank. A word, which may be a path, stays whole.
 */
std::size_t end_of_line(const std::string& text, int room) {
  std::size_t end = std::min(text.find(' '), text.size());
  while (end < text.size()) {
    const std::size_t next = std::min(text.find(' ', end + 1), text.size());
    if (display_width(text.substr(0, next)) > room) break;
    end = next;
  }
  return end;
}

class Lines {
 public:
  explicit Lines(const Output& output) : _out(output.out), _width(output.width) {}

  /** What does not fit goes on below itself. */
  void add(const std::string& name, const std::string& value) {
    constexpr std::size_t WIDTH = 16;
    std::string label = name + std::string(name.size() < WIDTH ? WIDTH - name.size() : 1, ' ');
    std::string rest = printable(value);
    for (;;) {
      const std::size_t end = _width == UNLIMITED
                                  ? rest.size()
                                  : end_of_line(rest, _width - static_cast<int>(label.size()));
      _out << label << rest.substr(0, end) << "\n";
      if (end == rest.size()) return;
      rest.erase(0, end + 1);
      label.assign(WIDTH, ' ');
    }
  }
  void addFile(const std::string& name, const Json& file) {
    if (file.is_null()) {
      add(name, "none");
      return;
    }
    add(name, file["path"].get<std::string>());
    add("", file["mode"].get<std::string>() + " " + file["owner"].get<std::string>() + ":" +
                file["group"].get<std::string>() + ", " +
                std::to_string(file["size"].get<long long>()) + " bytes");
  }

 private:
  std::ostream& _out;
  int _width;
};

std::string time_text(const Json& time) {
  return time.is_null() ? "none" : local_time(time.get<long long>());
}

void print_info(const Output& output, const Json& info) {
  Lines lines(output);
  lines.addFile("data directory", info["dataDirectory"]);
  lines.addFile("database", info["database"]);
  lines.addFile("journal", info["journal"]);
  if (info["rollbackPending"].get<bool>()) {
    lines.add("", "holds half a commit, which the store's next user rolls back");
  }
  lines.add("schema", "version " + std::to_string(info["schemaVersion"].get<int>()) + ", " +
                          std::to_string(info["tables"].size()) + " tables, " +
                          std::to_string(info["indexes"].size()) + " indexes");
  for (const auto& [name, count] : info["counts"].items()) {
    lines.add(name, std::to_string(count.get<int>()));
  }
  for (const Json& folder : info["folders"]) {
    lines.add("folder " + std::to_string(folder["folder"].get<int>()),
              std::to_string(folder["messages"].get<int>()) + " (" +
                  folder["name"].get<std::string>() + ")");
  }
  lines.add("oldest message", time_text(info["oldest"]));
  lines.add("newest message", time_text(info["newest"]));
  for (const Json& setting : info["settings"]) {
    const Json& value = setting["value"];
    lines.add("setting", setting["key"].get<std::string>() + " = " +
                             (value.is_null() ? "unreadable" : value.get<std::string>()) + " (" +
                             setting["source"].get<std::string>() + ")");
  }
}

int show_info(const Output& output) {
  const StoreView view(StoreView::Indexes::AS_THEY_ARE);
  const Json info = info_json(view);
  if (output.json) {
    print_json(output, info);
  } else {
    print_info(output, info);
  }
  return FOUND;
}

}  // namespace

void declare_info(CommandSet& commands) {
  commands.add("info", "Says where the store is, what it holds and which settings count",
               "msg-tarvel info", show_info);
}

}  // namespace msg_tarvel::tool
