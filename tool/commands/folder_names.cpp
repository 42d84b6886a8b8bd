#include "commands/folder_names.h"

#include <msg-tarvel-common/item/FolderType.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

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

}  // namespace

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
