#include "describe/completion.h"

#include <msg-tarvel-common/ipc/MsgIPC.h>

#include <algorithm>
#include <set>

#include "commands/query_names.h"
#include "filter/folder_words.h"

namespace msg_tarvel::tool {

namespace {

Words ipc_command_names() {
  const MsgIPC registry;
  Words names;
  for (int command = 0; command < MsgIPC::IPC_COMMAND_NONE; ++command) {
    const std::string name = registry.getCmdString(static_cast<MsgIPC::IpcCommand>(command));
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

void add_paths(const CLI::App& app, const std::string& path, std::vector<Path>& paths) {
  paths.emplace_back(path, &app);
  for (const CLI::App* const command : commands_of(app)) {
    add_paths(*command, path + (path.empty() ? "" : " ") + command->get_name(), paths);
  }
}

}  // namespace

Offer offer_for(const std::string& kind) {
  if (kind == "FILE") return {Offer::What::FILES, {}};
  if (kind == "DIR") return {Offer::What::DIRECTORIES, {}};
  if (kind == "FOLDER") return {Offer::What::WORDS, folder_words()};
  if (kind == "QUERY") return {Offer::What::WORDS, query_names()};
  if (kind == "NAME|NUMBER") return {Offer::What::WORDS, ipc_command_names()};
  return {Offer::What::NOTHING, {}};  // an id, a number, a text
}

std::vector<Path> paths_of(const CLI::App& program) {
  std::vector<Path> paths;
  add_paths(program, "", paths);
  return paths;
}

std::vector<const CLI::Option*> options_everywhere(const CLI::App& program) {
  std::vector<const CLI::Option*> options = {program.get_help_ptr(), program.get_help_all_ptr()};
  for (const CLI::Option* const option : options_of(program)) options.push_back(option);
  return options;
}

std::vector<const CLI::Option*> own_options(const CLI::App& app) {
  if (app.get_parent() == nullptr) return {};
  std::vector<const CLI::Option*> options = options_of(app);
  const auto standsEverywhere = [&app](const CLI::Option* option) {
    const CLI::App* program = &app;
    while (program->get_parent()) program = program->get_parent();
    return program->get_option_no_throw(option->get_name()) != nullptr;
  };
  options.erase(std::remove_if(options.begin(), options.end(), standsEverywhere), options.end());
  return options;
}

std::vector<const CLI::Option*> value_options(const CLI::App& program) {
  std::vector<const CLI::Option*> options;
  std::set<std::string> names;
  for (const auto& [path, app] : paths_of(program)) {
    for (const CLI::Option* const option : options_of(*app)) {
      if (!takes_value(*option)) continue;
      if (names.insert(option->get_name()).second) options.push_back(option);
    }
  }
  return options;
}

std::string joined(const Words& words, const char* separator) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

std::string quoted(const std::string& text,
                   const std::vector<std::pair<char, std::string>>& replacements) {
  std::string result = "'";
  for (const char character : text) {
    std::string written(1, character);
    for (const auto& [special, replacement] : replacements) {
      if (character == special) written = replacement;
    }
    result += written;
  }
  return result + "'";
}

}  // namespace msg_tarvel::tool
