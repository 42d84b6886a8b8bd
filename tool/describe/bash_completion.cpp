// What bash completes after msg-tarvel: commands, options, files, and the names that some take.

#include <msg-tarvel-common/ipc/MsgIPC.h>

#include <ostream>

#include "commands/folder_names.h"
#include "describe/description.h"

namespace msg_tarvel::tool {

namespace {

using Words = std::vector<std::string>;

std::string joined(const Words& words, const char* separator) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

Words ipc_command_names() {
  const MsgIPC registry;
  Words names;
  for (int command = 0; command < MsgIPC::IPC_COMMAND_NONE; ++command) {
    const std::string name = registry.getCmdString(static_cast<MsgIPC::IpcCommand>(command));
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

/** The line of the script that completes a value which the help calls `kind`, if there is one. */
std::string completion_of(const std::string& kind) {
  if (kind == "FILE") return "_msg_tarvel_files -f";
  if (kind == "DIR") return "_msg_tarvel_files -d";
  if (kind == "FOLDER") return "_msg_tarvel_words " + joined(folder_type_names(), " ");
  if (kind == "NAME|NUMBER") return "_msg_tarvel_words " + joined(ipc_command_names(), " ");
  return "";  // an id, a number, a text: nothing to offer
}

void add_value_options(const CLI::App& app, std::vector<const CLI::Option*>& options) {
  for (const CLI::Option* const option : options_of(app)) {
    if (takes_value(*option)) options.push_back(option);
  }
  for (const CLI::App* const command : commands_of(app)) add_value_options(*command, options);
}

/** One case per command: the words that may follow it, or else its argument. */
void print_command(std::ostream& out, const CLI::App& app, const std::string& path,
                   const Words& everywhere) {
  Words words;
  const auto inner = commands_of(app);
  for (const CLI::App* const command : inner) words.push_back(command->get_name());
  Words options = everywhere;
  if (!path.empty()) {
    for (const CLI::Option* const option : options_of(app)) {
      for (const std::string& spelling : spellings_of(*option)) options.push_back(spelling);
    }
  }
  out << "    '" << path << "')\n      options='" << joined(options, " ") << "'\n";
  const auto arguments = arguments_of(app);
  std::string argument;
  if (!words.empty()) {
    argument = "_msg_tarvel_words " + joined(words, " ");
  } else if (!arguments.empty()) {
    argument = completion_of(arguments.front()->get_name(true));
  }
  if (!argument.empty()) out << "      argument='" << argument << "'\n";
  out << "      ;;\n";
  for (const CLI::App* const command : inner) {
    print_command(out, *command, path + (path.empty() ? "" : " ") + command->get_name(),
                  everywhere);
  }
}

void add_paths(const CLI::App& app, const std::string& path, Words& paths) {
  for (const CLI::App* const command : commands_of(app)) {
    paths.push_back("'" + path + command->get_name() + "'");
    add_paths(*command, path + command->get_name() + " ", paths);
  }
}

}  // namespace

void print_bash_completion(std::ostream& out, const CLI::App& program) {
  std::vector<const CLI::Option*> valueOptions;
  add_value_options(program, valueOptions);
  Words takesValue;
  for (const CLI::Option* const option : valueOptions) {
    for (const std::string& spelling : spellings_of(*option)) takesValue.push_back(spelling);
  }
  Words everywhere = {"--help", "--help-all"};
  for (const CLI::Option* const option : options_of(program)) {
    for (const std::string& spelling : spellings_of(*option)) everywhere.push_back(spelling);
  }
  Words paths;
  add_paths(program, "", paths);

  out << "# bash completion for msg-tarvel                                 -*- shell-script -*-\n"
         "# Printed by msg-tarvel-describe from the program's command line; script/describe writes "
         "it\n"
         "# anew.\n\n"
         "_msg_tarvel_words() { mapfile -t COMPREPLY < <(compgen -W \"$*\" -- \"$current\"); }\n\n"
         "_msg_tarvel_files() {\n"
         "  mapfile -t COMPREPLY < <(compgen \"$1\" -- \"$current\")\n"
         "  compopt -o filenames 2>/dev/null || true\n"
         "}\n\n"
         "_msg_tarvel() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
         "  local i command='' options='' argument=''\n"
         "  COMPREPLY=()\n"
         "  # bash makes a word of the = between an option and its value.\n"
         "  if [ \"$current\" = = ]; then\n"
         "    current=''\n"
         "  elif [ \"$previous\" = = ]; then\n"
         "    previous=${COMP_WORDS[COMP_CWORD - 2]}\n"
         "  fi\n\n"
         "  case $previous in\n";
  Words nothingToOffer;
  for (const CLI::Option* const option : valueOptions) {
    const std::string completion = completion_of(option->get_type_name());
    const std::string spellings = joined(spellings_of(*option), " | ");
    if (completion.empty()) {
      nothingToOffer.push_back(spellings);
    } else {
      out << "    " << spellings << ")\n      " << completion << "\n      return\n      ;;\n";
    }
  }
  out << "    " << joined(nothingToOffer, " | ") << ")\n      return\n      ;;\n";
  out << "  esac\n\n"
         "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
         "    case ${COMP_WORDS[i]} in\n"
         "      "
      << joined(takesValue, " | ")
      << ")\n"
         "        [ \"${COMP_WORDS[i + 1]}\" != = ] || ((i++))\n"
         "        ((i++))\n"
         "        ;;\n"
         "      -*) ;;\n"
         "      *)\n"
         "        case ${command:+$command }${COMP_WORDS[i]} in\n"
         "          "
      << joined(paths, " | ")
      << ")\n"
         "            command=${command:+$command }${COMP_WORDS[i]}\n"
         "            ;;\n"
         "        esac\n"
         "        ;;\n"
         "    esac\n"
         "  done\n\n"
         "  case $command in\n";
  print_command(out, program, "", everywhere);
  out << "  esac\n"
         "  if [[ $current == -* ]]; then\n"
         "    _msg_tarvel_words \"$options\"\n"
         "  else\n"
         "    $argument\n"
         "  fi\n"
         "}\n\n"
         "complete -F _msg_tarvel msg-tarvel\n";
}

}  // namespace msg_tarvel::tool
