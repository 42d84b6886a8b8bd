// msg-tarvel(1) in the man macros of roff. Commands, options and examples are those of the command
// line; only what it cannot know is written here.

#include <ostream>

#include "describe/description.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* EXAMPLE = "Example: ";

struct Entry {
  const char* name;
  const char* text;
};

constexpr Entry STATUSES[] = {
    {"0", "Found, or done."},
    {"1", "Nothing found, or something wrong found, as a damaged buffer."},
    {"2", "The command line makes no sense."},
    {"3", "The store, a file or memory failed."},
    {"128+N", "Signal N ended the command; one that changes something says what came of it."},
};

constexpr Entry VARIABLES[] = {
    {"MSG_TARVEL_DATA_DIR", "The directory of the store; --data-dir goes before it."},
    {"MSG_TARVEL_SETTINGS", "The file with the device's settings."},
    {"XDG_DATA_HOME, XDG_CONFIG_HOME", "Where these two are when the variables above are not set."},
    {"COLUMNS", "The width of a terminal that does not tell it."},
    {"TMPDIR", "Where commands that look put their copy of the store, if not in /tmp."},
};

constexpr Entry FILES[] = {
    {"~/.local/share/msg-tarvel/", "The directory of the store."},
    {"dbspace/.msg-tarvel-server.db", "In it, the database."},
    {"media/", "In it, the pictures, sounds and other parts that were imported."},
    {"~/.config/msg-tarvel/settings.ini", "The device's settings."},
};

constexpr const char* SEE_ALSO =
    ".SH \"SEE ALSO\"\n"
    ".BR sqlite3 (1),\n"
    ".BR dbus\\-daemon (1)\n"
    ".P\n"
    "What the library promises about the store and the queries is in its pages: "
    "\\fIREADME.md\\fR and \\fIdocs/\\fR of the sources, and of the package "
    "\\fBlibmsg\\-tarvel\\-common\\-dev\\fR.\n";

/** `text` so that roff prints it as it is. */
std::string roff(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '\\':
        escaped += "\\e";
        break;
      case '-':
        escaped += "\\-";
        break;
      case '\'':
        escaped += "\\(aq";
        break;
      case '"':
        escaped += "\\(dq";
        break;
      case '~':
        escaped += "\\(ti";
        break;
      default:
        escaped += character;
    }
  }
  return !escaped.empty() && escaped.front() == '.' ? "\\&" + escaped : escaped;
}

std::string bold(const std::string& text) { return "\\fB" + roff(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + roff(text) + "\\fR"; }

void print_entry(std::ostream& out, const std::string& term, const std::string& text) {
  out << ".TP\n" << term << "\n" << roff(text) << "\n";
}

template <std::size_t N>
void print_entries(std::ostream& out, const char* section, const Entry (&entries)[N]) {
  out << ".SH " << section << "\n";
  for (const Entry& entry : entries) print_entry(out, bold(entry.name), entry.text);
}

void print_option(std::ostream& out, const CLI::Option& option) {
  std::string term;
  for (const std::string& spelling : spellings_of(option)) {
    term += (term.empty() ? "" : ", ") + bold(spelling);
  }
  if (takes_value(option)) term += " " + italic(option.get_type_name());
  print_entry(out, term, option.get_description());
}

/** The footer of a command: its example, and after an empty line what else is to be said. */
void print_footer(std::ostream& out, const std::string& footer) {
  const std::size_t end = footer.find('\n');
  const std::size_t begin =
      footer.rfind(EXAMPLE, 0) == 0 ? std::char_traits<char>::length(EXAMPLE) : 0;
  const std::size_t rest = footer.find("\n\n");
  if (rest != std::string::npos) out << ".P\n" << roff(footer.substr(rest + 2)) << "\n";
  out << ".P\nExample:\n.P\n.RS 4\n.EX\n"
      << roff(footer.substr(begin, end - begin)) << "\n.EE\n.RE\n";
}

void print_command(std::ostream& out, const CLI::App& command, const std::string& prefix) {
  const std::string name = prefix + command.get_name();
  if (const auto inner = commands_of(command); !inner.empty()) {
    for (const CLI::App* const each : inner) print_command(out, *each, name + " ");
    return;
  }
  const auto options = options_of(command);
  const auto arguments = arguments_of(command);
  out << ".SS " << roff(name);
  for (const CLI::Option* const argument : arguments) {
    const std::string word =
        roff(argument->get_name(true)) + (argument->get_items_expected_max() > 1 ? "..." : "");
    out << " " << (argument->get_required() ? word : "[" + word + "]");
  }
  out << "\n" << roff(command.get_description()) << ".\n";
  for (const CLI::Option* const argument : arguments) {
    print_entry(out, italic(argument->get_name(true)), argument->get_description());
  }
  for (const CLI::Option* const option : options) print_option(out, *option);
  print_footer(out, command.get_footer());
}

}  // namespace

void print_man_page(std::ostream& out, const CLI::App& program) {
  const std::string& name = program.get_name();
  out << ".\\\" Printed by msg-tarvel-describe from the program's command line; script/describe\n"
         ".\\\" writes it anew.\n"
         ".TH MSG\\-TARVEL 1 \"\" \""
      << roff(name + " " + program.version()) << "\"\n.SH NAME\n"
      << roff(name) << " \\- makes, fills and asks a message store\n.SH SYNOPSIS\n"
      << bold(name) << " [" << italic("OPTION") << "]... " << italic("COMMAND") << " ["
      << italic("ARGUMENT") << "]...\n.SH DESCRIPTION\n"
      << roff(
             "The messages of a watch stand in a store that several processes share. This program "
             "makes such a store, imports what a phone's backup program wrote and asks the same "
             "queries as the processes do. Results are tables, or JSON with --json.")
      << "\n.SH OPTIONS\nThe options may stand before or behind the command.\n";
  for (const CLI::Option* const option : options_of(program)) print_option(out, *option);
  print_option(out, *program.get_help_ptr());
  print_option(out, *program.get_help_all_ptr());
  out << ".SH COMMANDS\n";
  for (const CLI::App* const command : commands_of(program)) print_command(out, *command, "");
  print_entries(out, "\"EXIT STATUS\"", STATUSES);
  print_entries(out, "ENVIRONMENT", VARIABLES);
  print_entries(out, "FILES", FILES);
  out << SEE_ALSO;
}

}  // namespace msg_tarvel::tool
