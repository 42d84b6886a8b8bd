#include "filter/folder_words.h"

#include <msg-tarvel-common/item/FolderType.h>

#include "exit_status.h"
#include "helpers/folders.h"

namespace msg_tarvel::tool {

namespace {

struct NamedFolder {
  const char* word;
  FolderType main;
  FolderType standalone;
};

constexpr NamedFolder FOLDERS[] = {
    {"inbox", MAIN_FOLDER_1, STANDALONE_FOLDER_1},
    {"outbox", MAIN_FOLDER_2, STANDALONE_FOLDER_2},
    {"sent", MAIN_FOLDER_3, STANDALONE_FOLDER_3},
    {"draft", MAIN_FOLDER_4, STANDALONE_FOLDER_4},
};

constexpr const char* EVERY_FOLDER = "all";
constexpr std::size_t DIGITS_OF_A_FOLDER = 5;

std::string in(int first, int second) {
  return "storageFolder IN (" + std::to_string(first) + ", " + std::to_string(second) + ")";
}

std::string shown_folders() {
  std::string list;
  for (int folder = NO_FOLDER; folder <= ALL_FOLDERS; ++folder) {
    if (helpers::is_real_folder(folder) && !helpers::is_shown_folder(folder)) {
      list += (list.empty() ? "" : ", ") + std::to_string(folder);
    }
  }
  return "storageFolder > " + std::to_string(NO_FOLDER) + " AND storageFolder < " +
         std::to_string(ALL_FOLDERS) + " AND storageFolder NOT IN (" + list + ")";
}

}  // namespace

std::string folder_word(int folder) {
  for (const NamedFolder& named : FOLDERS) {
    if (folder == named.main || folder == named.standalone) return named.word;
  }
  return std::to_string(folder);
}

std::vector<std::string> folder_words() {
  std::vector<std::string> words;
  for (const NamedFolder& named : FOLDERS) words.emplace_back(named.word);
  words.emplace_back(EVERY_FOLDER);
  return words;
}

std::string folder_condition(const std::string& word) {
  if (word.empty()) return shown_folders();
  if (word == EVERY_FOLDER) return "1";
  for (const NamedFolder& named : FOLDERS) {
    if (word == named.word) return in(named.main, named.standalone);
  }
  const bool isNumber = word.size() <= DIGITS_OF_A_FOLDER &&
                        word.find_first_not_of("0123456789") == std::string::npos;
  if (!isNumber) {
    throw UsageError("'" + word +
                     "' is no folder; a folder is inbox, outbox, sent, draft, all or a number");
  }
  return "storageFolder = " + word;
}

}  // namespace msg_tarvel::tool
