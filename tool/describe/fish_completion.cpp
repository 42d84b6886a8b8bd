// What fish completes after msg-tarvel.

#include <ostream>

#include "describe/completion.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* COMPLETE = "complete -c msg-tarvel";

std::string quoted_for_fish(const std::string& text) {
  return quoted(text, {{'\\', "\\\\"}, {'\'', "\\'"}});
}

/** The end of a line that says what is offered for a value which the help calls `kind`. */
std::string completion_of(const std::string& kind) {
  const Offer offer = offer_for(kind);
  switch (offer.what) {
    case Offer::What::FILES:
      return " -F";
    case Offer::What::DIRECTORIES:
      return " -f -a '(__fish_complete_directories)'";
    case Offer::What::WORDS:
      return " -f -a '" + joined(offer.words, " ") + "'";
    case Offer::What::NOTHING:
      break;
  }
  return " -f";
}

/** `condition` is what a line begins with that holds for one command alone. */
void print_option(std::ostream& out, const CLI::Option& option, const std::string& condition) {
  out << COMPLETE << condition;
  for (const std::string& name : option.get_snames()) out << " -s " << name;
  for (const std::string& name : option.get_lnames()) out << " -l " << name;
  out << " -d " << quoted_for_fish(option.get_description());
  if (takes_value(option)) out << " -r" << completion_of(option.get_type_name());
  out << "\n";
}

void print_command(std::ostream& out, const Path& path) {
  const auto& [words, command] = path;
  const std::string condition =
      " -n " + quoted_for_fish("__msg_tarvel_at" + (words.empty() ? "" : " " + words));
  for (const CLI::App* const inner : commands_of(*command)) {
    out << COMPLETE << condition << " -a " << inner->get_name() << " -d "
        << quoted_for_fish(inner->get_description()) << "\n";
  }
  const auto arguments = arguments_of(*command);
  if (!arguments.empty()) {
    const std::string completion = completion_of(arguments.front()->get_name(true));
    if (completion != " -f") out << COMPLETE << condition << completion << "\n";
  }
  for (const CLI::Option* const option : own_options(*command)) {
    print_option(out, *option, condition);
  }
}

}  // namespace

void print_fish_completion(std::ostream& out, const CLI::App& program) {
  Words takesValue;
  for (const CLI::Option* const option : value_options(program)) {
    for (const std::string& spelling : spellings_of(*option)) takesValue.push_back(spelling);
  }
  Words paths;
  for (const auto& [path, command] : paths_of(program)) {
    if (!path.empty()) paths.push_back("'" + path + "'");
  }
  out << "# fish completion for msg-tarvel\n"
         "# Printed by msg-tarvel-describe from the program's command line; script/describe writes "
         "it\n"
         "# anew.\n\n"
         "# Whether the command of the line is the one that the arguments name.\n"
         "function __msg_tarvel_at\n"
         "    set -l words (commandline -opc)\n"
         "    set -e words[1]\n"
         "    set -l command\n"
         "    set -l value no\n"
         "    for word in $words\n"
         "        if test $value = yes\n"
         "            set value no\n"
         "            continue\n"
         "        end\n"
         "        switch $word\n"
         "            case "
      << joined(takesValue, " ")
      << "\n"
         "                set value yes\n"
         "            case '-*'\n"
         "            case '*'\n"
         "                set -l longer (string join ' ' $command $word)\n"
         "                switch $longer\n"
         "                    case "
      << joined(paths, " ")
      << "\n"
         "                        set command $longer\n"
         "                end\n"
         "        end\n"
         "    end\n"
         "    test \"$command\" = \"$argv\"\n"
         "end\n\n"
      << COMPLETE << " -f\n";
  for (const CLI::Option* const option : options_everywhere(program)) {
    print_option(out, *option, "");
  }
  for (const Path& path : paths_of(program)) print_command(out, path);
}

}  // namespace msg_tarvel::tool
