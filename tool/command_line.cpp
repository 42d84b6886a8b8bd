#include "command_line.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "commands/commands.h"
#include "commands/suggestion.h"
#include "exit_status.h"
#include "print/printable.h"
#include "print/table.h"
#include "store/log_sink.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

CommandLine::CommandLine() {
  _app.name("msg-tarvel");
  _app.set_version_flag("--version", MSG_TARVEL_VERSION);
  _app.set_help_all_flag("--help-all", "Print the help of every command");
  _app.require_subcommand(1);
  _app.fallthrough();
  _app.add_option("--data-dir", _dataDir,
                  "The directory of the store (default: $MSG_TARVEL_DATA_DIR, else "
                  "$XDG_DATA_HOME/msg-tarvel/)")
      ->type_name("DIR");
  _app.add_flag("--json", _json, "Print JSON, as each command's own option does");
  _app.add_flag("--verbose", _verbose, "Print the library's log to standard error");
  _app.footer(
      "Example: msg-tarvel --data-dir /tmp/store threads\n"
      "Exit status: 0 found or done, 1 nothing found or something wrong found, 2 usage, 3 store or "
      "file error");

  // In this order they stand in the help and the man page.
  declare_create(_commands);
  declare_generate(_commands);
  declare_check(_commands);
  declare_repair(_commands);
  declare_backup(_commands);
  declare_export(_commands);
  declare_import(_commands);
  declare_info(_commands);
  declare_threads(_commands);
  declare_messages(_commands);
  declare_conversation(_commands);
  declare_message(_commands);
  declare_find(_commands);
  declare_query(_commands);
  declare_ipc(_commands);
  declare_buffer(_commands);
}

/** The store names files by absolute paths, so its place must be one. */
void CommandLine::useDataDir() const {
  const char* const variable = std::getenv(DATA_DIR_VARIABLE);
  const std::string dataDir = _dataDir.empty() && variable ? variable : _dataDir;
  if (dataDir.empty()) return;
  setenv(DATA_DIR_VARIABLE, std::filesystem::absolute(dataDir).c_str(), 1);
}

/** Prints help, or what is wrong in a line that no argument can end or turn. */
int CommandLine::_exit(const CLI::ParseError& error) const {
  const std::string suggestion = suggestion_for(_app);
  if (!suggestion.empty()) throw UsageError(suggestion);
  if (error.get_exit_code() == 0) return _app.exit(error);
  std::cerr << printable(error.what()) << "\nRun with --help or --help-all for more information.\n";
  return USAGE_ERROR;
}

int CommandLine::run(int argc, char** argv) {
  try {
    _app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return _exit(error);
  }
  set_verbose(_verbose);
  useDataDir();
  const int status =
      _commands.runChosen({std::cout, _json || _commands.wantsJson(), output_width(STDOUT_FILENO)});
  if (!std::cout.flush()) throw Failure("cannot write the output");
  return status;
}

}  // namespace msg_tarvel::tool
