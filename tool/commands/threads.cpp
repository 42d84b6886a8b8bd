#include "commands/commands.h"

#include <glib.h>
#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <set>

#include "failure.h"
#include "store/conversation_search.h"
#include "store/log_sink.h"
#include "store/phone_number.h"
#include "store/session.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* CANNOT_READ = "cannot read the message store";
constexpr int PARENT_MODE = 0700;
/** The library cuts a condition at 1,023 characters; folders, order and limit take below 223. */
constexpr std::size_t CONDITION_ROOM = 800;

struct NamedFolder {
  const char* name;
  FolderType folder;
};

constexpr NamedFolder FOLDERS[] = {
    {"NO_FOLDER", NO_FOLDER},
    {"MAIN_FOLDER_1", MAIN_FOLDER_1},
    {"MAIN_FOLDER_2", MAIN_FOLDER_2},
    {"MAIN_FOLDER_3", MAIN_FOLDER_3},
    {"MAIN_FOLDER_4", MAIN_FOLDER_4},
    {"MAIN_FOLDER_5", MAIN_FOLDER_5},
    {"STANDALONE_FOLDER_1", STANDALONE_FOLDER_1},
    {"STANDALONE_FOLDER_2", STANDALONE_FOLDER_2},
    {"STANDALONE_FOLDER_3", STANDALONE_FOLDER_3},
    {"STANDALONE_FOLDER_4", STANDALONE_FOLDER_4},
    {"STANDALONE_FOLDER_5", STANDALONE_FOLDER_5},
    {"ALL_FOLDERS", ALL_FOLDERS},
    {"FOLDER_PAIR_1", FOLDER_PAIR_1},
    {"FOLDER_PAIR_2", FOLDER_PAIR_2},
    {"FOLDER_PAIR_3", FOLDER_PAIR_3},
    {"FOLDER_PAIR_4", FOLDER_PAIR_4},
    {"FOLDER_PAIR_5", FOLDER_PAIR_5},
};

std::vector<Address> addresses_of(int convId) {
  std::vector<Address> addresses;
  is_found(db::db_get_addresses(convId, addresses), CANNOT_READ);
  return addresses;
}

void check_condition(const ListCondition& condition) {
  if (condition.msgType.find('\'') != std::string::npos) {
    throw UsageError("--msg-type: a quote cannot be part of a type");
  }
  std::size_t room = condition.msgType.size();
  for (const int convId : condition.convIds) room += std::to_string(convId).size() + 1;
  if (room > CONDITION_ROOM) {
    throw UsageError("--conv-ids: too many; the query takes about 800 characters of them");
  }
}

}  // namespace

int create_store(const Output& output) {
  const std::string path = db::get_db_filepath();
  if (path.empty()) throw Failure("there is no place for a message store: HOME is not set");
  const std::filesystem::path data(db::get_data_dir_path());
  const std::filesystem::path parent = data.parent_path().parent_path();
  if (!parent.empty() && g_mkdir_with_parents(parent.c_str(), PARENT_MODE) != 0) {
    throw Failure("cannot make the directory " + parent.string() + ": " + std::strerror(errno));
  }
  struct stat status = {};
  const bool isNew = stat(path.c_str(), &status) != 0;
  const StoreSession session;
  forget_log_errors();
  errno = 0;
  if (db::DBMgr::getInstance()->createDb() != db::DB_SUCCESS) {
    fail_with_log("cannot create the message store " + path);
  }
  // createDb does not look at whether its last step, the commit, succeeds.
  std::vector<SimInfo> sims;
  is_found(db::db_get_sim_infos(sims), "cannot create the message store " + path);
  print_created(output, path, isNew);
  return FOUND;
}

int import_file(const Output& output, const std::string& path,
                const std::vector<std::string>& ownNumbers) {
  require_store();
  const StoreSession session;
  print_summary(output, import_backup(path, ownNumbers));
  return FOUND;
}

int list_threads(const Output& output) {
  require_store();
  const StoreSession session;
  forget_log_errors();
  std::vector<Thread> threads;
  const bool found = is_found(db::db_get_threads(threads), CANNOT_READ);
  std::vector<ListedThread> listed;
  listed.reserve(threads.size());
  for (const Thread& thread : threads) listed.push_back({thread, addresses_of(thread.convId)});
  if (found || output.json) print_threads(output, listed);
  return found ? FOUND : NOTHING_FOUND;
}

int show_conversation(const Output& output, int convId) {
  require_store();
  const StoreSession session;
  forget_log_errors();
  std::vector<Conversation> messages;
  const bool found = is_found(db::db_get_conversations(convId, messages), CANNOT_READ);
  if (found || output.json) {
    print_conversation(output, messages, found ? addresses_of(convId) : std::vector<Address>());
  }
  return found ? FOUND : NOTHING_FOUND;
}

int list_messages(const Output& output, const ListCondition& condition) {
  check_condition(condition);
  require_store();
  const StoreSession session;
  forget_log_errors();
  std::vector<Message> list;
  const bool found = is_found(db::db_get_message_list(condition, list), CANNOT_READ);
  // The fields of a list from the sticker on are each one column late; a single message has them
  // right, and the sender of a group's message too.
  std::vector<Message> messages;
  for (const Message& entry : list) {
    Message message;
    if (is_found(db::db_get_message(entry.msgId, message), CANNOT_READ)) {
      messages.push_back(std::move(message));
    }
  }
  if (found || output.json) print_messages(output, messages);
  return found ? FOUND : NOTHING_FOUND;
}

int find_thread(const Output& output, const std::vector<std::string>& numbers) {
  require_store();
  const StoreSession session;
  AddressSet known;
  std::vector<std::string> addresses;
  for (const std::string& number : numbers) {
    const std::string address = normalised_address(number);
    if (!address.empty() && known.add(address)) addresses.push_back(address);
  }
  const int convId = find_conversation(addresses);
  if (convId == 0) return NOTHING_FOUND;

  forget_log_errors();
  Thread thread;
  if (!is_found(db::db_get_thread(convId, thread), CANNOT_READ)) return NOTHING_FOUND;
  ListedThread listed{thread, addresses_of(convId)};
  listed.thread.lastMsgId = thread.lastMsgId;
  print_thread(output, listed);
  return FOUND;
}

int folder_type_of(const std::string& text) {
  for (const NamedFolder& named : FOLDERS) {
    if (text == named.name) return named.folder;
  }
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(text.c_str(), &end, 10);
  const bool isNumber = !text.empty() && *end == '\0' && errno == 0;
  if (!isNumber || number < FOLDER_PAIR_5 || number == -1 ||
      number > std::numeric_limits<int>::max()) {
    throw UsageError("--folder-type: " + text + " is no folder of a message list");
  }
  return static_cast<int>(number);
}

std::vector<std::string> folder_type_names() {
  std::vector<std::string> names;
  for (const NamedFolder& named : FOLDERS) names.emplace_back(named.name);
  return names;
}

}  // namespace msg_tarvel::tool
