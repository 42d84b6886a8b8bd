#include "commands/suggestion.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t MOST_MISTAKES = 2;

struct Renamed {
  const char* before;
  const char* now;
};
constexpr Renamed RENAMED[] = {{"find-thread", "find"}, {"commands", "ipc"}};

/** How many letters have to be added, left out or replaced to make one word the other. */
std::size_t mistakes_between(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (const char letter : a) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (letter == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

std::string meant_by(const std::string& word, const std::vector<std::string>& commands) {
  for (const Renamed& renamed : RENAMED) {
    if (word == renamed.before) return renamed.now;
  }
  std::string best;
  std::size_t fewest = MOST_MISTAKES + 1;
  for (const std::string& command : commands) {
    const bool isBeginning = !word.empty() && command.compare(0, word.size(), word) == 0;
    const std::size_t mistakes = isBeginning ? 0 : mistakes_between(word, command);
    if (mistakes < fewest && mistakes < word.size()) {
      fewest = mistakes;
      best = command;
    }
  }
  return best;
}

}  // namespace

std::string suggestion_for(const CLI::App& program) {
  const CLI::App* app = &program;
  while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
  std::vector<std::string> commands;
  for (const CLI::App* const command : app->get_subcommands([](const CLI::App*) { return true; })) {
    commands.push_back(command->get_name());
  }
  if (commands.empty()) return "";
  for (const std::string& word : program.remaining(true)) {
    if (word.empty() || word.front() == '-') continue;
    const std::string meant = meant_by(word, commands);
    return "there is no command '" + word + "'" +
           (meant.empty() ? "; 'msg-tarvel --help' lists them" : "; is it '" + meant + "'?");
  }
  return "";
}

}  // namespace msg_tarvel::tool
