// What bash completes after msg-tarvel: commands, options, files, and the names that some take.

#include <ostream>

#include "describe/completion.h"

namespace msg_tarvel::tool {

namespace {

/** The line of the script that completes a value which the help calls `kind`, if there is one. */
std::string completer_of(const std::string& kind) {
  const Offer offer = offer_for(kind);
  switch (offer.what) {
    case Offer::What::FILES:
      return "_msg_tarvel_files -f";
    case Offer::What::DIRECTORIES:
      return "_msg_tarvel_files -d";
    case Offer::What::WORDS:
      return "_msg_tarvel_words " + joined(offer.words, " ");
    case Offer::What::NOTHING:
      break;
  }
  return "";
}

/** What completes the word behind `command`: the commands below it, or else its argument. */
std::string argument_of(const CLI::App& command) {
  Words names;
  for (const CLI::App* const inner : commands_of(command)) names.push_back(inner->get_name());
  if (!names.empty()) return "_msg_tarvel_words " + joined(names, " ");
  const auto arguments = arguments_of(command);
  return arguments.empty() ? "" : completer_of(arguments.front()->get_name(true));
}

void add_spellings(const std::vector<const CLI::Option*>& options, Words& words) {
  for (const CLI::Option* const option : options) {
    for (const std::string& spelling : spellings_of(*option)) words.push_back(spelling);
  }
}

/** One case per command. */
void print_commands(std::ostream& out, const CLI::App& program) {
  for (const auto& [path, command] : paths_of(program)) {
    Words options;
    add_spellings(options_everywhere(program), options);
    add_spellings(own_options(*command), options);
    const std::string argument = argument_of(*command);
    out << "    '" << path << "')\n      options='" << joined(options, " ") << "'\n";
    if (!argument.empty()) out << "      argument='" << argument << "'\n";
    out << "      ;;\n";
  }
}

}  // namespace

void print_bash_completion(std::ostream& out, const CLI::App& program) {
  const auto valueOptions = value_options(program);
  Words takesValue;
  add_spellings(valueOptions, takesValue);
  Words paths;
  for (const auto& [path, command] : paths_of(program)) {
    if (!path.empty()) paths.push_back("'" + path + "'");
  }

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
    const std::string completion = completer_of(option->get_type_name());
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
  print_commands(out, program);
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
