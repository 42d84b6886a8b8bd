// What zsh completes after msg-tarvel: a function for the program and for each command.

#include <ostream>

#include "describe/completion.h"

namespace msg_tarvel::tool {

namespace {

std::string quoted_for_zsh(const std::string& text) { return quoted(text, {{'\'', "'\\''"}}); }

/** `text` with a backslash in front of what has a meaning in the description of an option. */
std::string escaped(const std::string& text, const char* special) {
  std::string result;
  for (const char character : text) {
    if (character == '\\' || std::string(special).find(character) != std::string::npos) {
      result += '\\';
    }
    result += character;
  }
  return result;
}

std::string function_of(const std::string& path) {
  std::string name = "_msg-tarvel" + (path.empty() ? "" : " " + path);
  for (char& character : name) {
    if (character == ' ') character = '-';
  }
  return name;
}

/** The end of such a description: how the help calls the value, and what is offered for it. */
std::string value_of(const std::string& kind) {
  const std::string message = ":" + escaped(kind, ":") + ":";
  const Offer offer = offer_for(kind);
  switch (offer.what) {
    case Offer::What::FILES:
      return message + "_files";
    case Offer::What::DIRECTORIES:
      return message + "_files -/";
    case Offer::What::WORDS:
      return message + "(" + joined(offer.words, " ") + ")";
    case Offer::What::NOTHING:
      break;
  }
  return message + " ";
}

bool may_be_repeated(const CLI::Option& option) { return option.get_items_expected_max() > 1; }

/** One line for each spelling, each of which excludes the others. */
void print_spellings(std::ostream& out, const CLI::Option& option) {
  const Words spellings = spellings_of(option);
  std::string before;
  if (may_be_repeated(option)) {
    before = "*";
  } else if (spellings.size() > 1) {
    before = "(" + joined(spellings, " ") + ")";
  }
  for (const std::string& spelling : spellings) {
    std::string text = before + spelling;
    if (takes_value(option)) text += spelling.rfind("--", 0) == 0 ? "=" : "+";
    text += "[" + escaped(option.get_description(), "[]") + "]";
    if (takes_value(option)) text += value_of(option.get_type_name());
    out << "    " << quoted_for_zsh(text) << "\n";
  }
}

/** A command with commands below it: the first word chooses which of them has the rest. */
void print_group(std::ostream& out, const CLI::App& command, const std::string& function) {
  out << "  local -a commands=(\n";
  for (const CLI::App* const inner : commands_of(command)) {
    out << "    " << quoted_for_zsh(inner->get_name() + ":" + inner->get_description()) << "\n";
  }
  out << "  )\n"
         "  local curcontext=$curcontext state line ret=1\n"
         "  # Behind the command, its own function knows every option.\n"
         "  _arguments -C $everywhere '(-)1: :{_describe command commands}' '(-)*:: :->rest' && "
         "ret=0\n"
         "  if [[ $state == rest ]] && (( $+functions["
      << function
      << "-$line[1]] )); then\n"
         "    "
      << function
      << "-$line[1] && ret=0\n"
         "  fi\n"
         "  return ret\n";
}

void print_command(std::ostream& out, const CLI::App& command) {
  out << "  local -a own=(\n";
  for (const CLI::Option* const option : own_options(command)) print_spellings(out, *option);
  const auto arguments = arguments_of(command);
  for (const CLI::Option* const argument : arguments) {
    const std::string which = may_be_repeated(*argument) ? "*" : "";
    out << "    " << quoted_for_zsh(which + value_of(argument->get_name(true))) << "\n";
  }
  out << "  )\n"
         "  _arguments $everywhere $own\n";
}

}  // namespace

void print_zsh_completion(std::ostream& out, const CLI::App& program) {
  out << "#compdef msg-tarvel\n"
         "# zsh completion for msg-tarvel\n"
         "# Printed by msg-tarvel-describe from the program's command line; script/describe writes "
         "it\n"
         "# anew.\n";
  for (const auto& [path, command] : paths_of(program)) {
    out << "\n" << function_of(path) << "() {\n";
    if (path.empty()) {
      out << "  local -a everywhere=(\n";
      for (const CLI::Option* const option : options_everywhere(program)) {
        print_spellings(out, *option);
      }
      out << "  )\n";
    }
    if (commands_of(*command).empty()) {
      print_command(out, *command);
    } else {
      print_group(out, *command, function_of(path));
    }
    out << "}\n";
  }
  out << "\n_msg-tarvel \"$@\"\n";
}

}  // namespace msg_tarvel::tool
