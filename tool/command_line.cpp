#include "command_line.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "commands/ipc_commands.h"
#include "failure.h"
#include "print/table.h"
#include "store/log_sink.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* DATA_DIR_VARIABLE = "MSG_TARVEL_DATA_DIR";

}  // namespace

CommandLine::CommandLine() {
  _app.name("msg-tarvel");
  _app.set_version_flag("--version", MSG_TARVEL_VERSION);
  _app.set_help_all_flag("--help-all", "Print the help of every command");
  _app.require_subcommand(1);
  _app.fallthrough();
  _app.add_option("--data-dir", _arguments.dataDir,
                  "The directory of the store (default: $MSG_TARVEL_DATA_DIR, else "
                  "$XDG_DATA_HOME/msg-tarvel/)")
      ->type_name("DIR");
  _app.add_flag("--verbose", _arguments.verbose, "Print the library's log to standard error");
  _app.footer(
      "Example: msg-tarvel --data-dir /tmp/store threads\n"
      "Exit status: 0 found or done, 1 nothing found, 2 usage, 3 store or file error");

  add("create", "Makes the store, or what is missing of it", "msg-tarvel create",
      [](const Output& out) { return create_store(out); });
  addImport();
  add("threads", "Lists the conversations, newest first", "msg-tarvel threads",
      [](const Output& out) { return list_threads(out); });
  CLI::App* const conversation =
      add("conversation", "Shows the messages of a conversation, oldest first",
          "msg-tarvel conversation 3",
          [this](const Output& out) { return show_conversation(out, _arguments.convId); });
  conversation->add_option("ID", _arguments.convId, "The conversation, as 'threads' lists it")
      ->required()
      ->check(CLI::Range(0, INT_MAX));
  addMessages();
  CLI::App* const find =
      add("find-thread", "Finds the conversation with exactly these people",
          "msg-tarvel find-thread \"(415) 555-0123\" +14155550145",
          [this](const Output& out) { return find_thread(out, _arguments.numbers); });
  find->add_option("NUMBER", _arguments.numbers,
                   "A phone number in any form, an e-mail address or a name")
      ->required();
  addIpcCommands();
}

CLI::App* CommandLine::add(const std::string& name, const std::string& description,
                           const std::string& example, Command command, CLI::App* parent) {
  CLI::App* const sub = (parent ? parent : &_app)->add_subcommand(name, description);
  sub->add_flag("--json", _arguments.json, "Print JSON, every field as it is stored");
  sub->footer("Example: " + example);
  _commands[sub] = std::move(command);
  return sub;
}

void CommandLine::addImport() {
  CLI::App* const sub = add(
      "import", "Imports the XML that Android phones' SMS/MMS backup programs write",
      "msg-tarvel import --own-number +14155550100 samples/backup.xml\n\n"
      "Received messages become folder 1, sent ones 3, drafts 4; what is being sent, waits or\n"
      "failed becomes folder 2 with network status 1, 1 or 3. Times stay milliseconds. mainText "
      "is\n"
      "the subject or else the text. Parts lie in the data directory's media/. What an earlier\n"
      "import stored is skipped. All of the file is imported, or nothing of it.",
      [this](const Output& out) {
        return import_file(out, _arguments.file, _arguments.ownNumbers);
      });
  sub->add_option("FILE", _arguments.file, "The backup")->required();
  sub->add_option("--own-number", _arguments.ownNumbers,
                  "A number of the phone's owner, who is no participant of a conversation; may be "
                  "repeated (default: what the store's SIM cards and the file itself show)")
      ->type_name("NUMBER")
      ->allow_extra_args(false);
}

void CommandLine::addMessages() {
  ListCondition& condition = _arguments.condition;
  CLI::App* const sub =
      add("messages", "Lists messages, newest first",
          "msg-tarvel messages --read-filter 0 --limit 20 --folder-type MAIN_FOLDER_1 "
          "--conv-ids 1,2",
          [this](const Output& out) { return list_messages(out, _arguments.condition); });
  sub->add_option("--read-filter", condition.readFilter,
                  "1: only read, another number: only unread, -1: all (the default); heeded in "
                  "MAIN_FOLDER_1 and FOLDER_PAIR_1")
      ->type_name("N");
  sub->add_flag("--ascending", condition.ascending, "Oldest first");
  sub->add_option("--limit", condition.limit, "At most so many; 0: all (the default)")
      ->type_name("N");
  sub->add_option("--folder-type", _arguments.folderType,
                  "A number or name of FolderType (default: ALL_FOLDERS)")
      ->type_name("FOLDER");
  sub->add_option("--storage-id", condition.storageId, "Only of this storage, if above 0")
      ->type_name("N");
  sub->add_option("--msg-type", condition.msgType, "Only of this type, such as sms or mms")
      ->type_name("TEXT");
  sub->add_option("--conv-ids", condition.convIds, "Only of these conversations")
      ->type_name("ID[,ID...]")
      ->delimiter(',')
      ->allow_extra_args(false);
}

void CommandLine::addIpcCommands() {
  CLI::App* const commands = add("commands", "Lists the commands that processes send each other",
                                 "msg-tarvel commands nms_add_message", [this](const Output& out) {
                                   return list_ipc_commands(out, _arguments.ipcCommand);
                                 });
  commands->add_option("NAME|NUMBER", _arguments.ipcCommand, "Only this one");

  CLI::App* const buffer = _app.add_subcommand("buffer", "Makes and explains serialized messages");
  buffer->require_subcommand(1);
  buffer->footer("Example: msg-tarvel buffer encode 3 --output message.bin");
  CLI::App* const encode = add(
      "encode", "Serializes a message of the store", "msg-tarvel buffer encode 3 > message.bin",
      [this](const Output& out) {
        return encode_buffer(out, _arguments.msgId, _arguments.outputFile);
      },
      buffer);
  encode->add_option("MSGID", _arguments.msgId, "The message, as 'messages' lists it")
      ->required()
      ->check(CLI::Range(0, INT_MAX));
  encode->add_option("-o,--output", _arguments.outputFile, "Where to (default: standard output)")
      ->type_name("FILE");
  CLI::App* const show = add(
      "show", "Shows every field of a buffer, as far as it is good",
      "msg-tarvel buffer show message.bin",
      [this](const Output& out) { return show_buffer(out, _arguments.file); }, buffer);
  show->add_option("FILE", _arguments.file, "The buffer")->required();
  CLI::App* const check = add(
      "check", "Says whether a file is one well-formed buffer",
      "msg-tarvel buffer check message.bin",
      [this](const Output& out) { return check_buffer(out, _arguments.file); }, buffer);
  check->add_option("FILE", _arguments.file, "The buffer")->required();
}

/** The store names files by absolute paths, so its place must be one. */
void CommandLine::useDataDir() const {
  const char* const variable = std::getenv(DATA_DIR_VARIABLE);
  const std::string dataDir =
      _arguments.dataDir.empty() && variable ? variable : _arguments.dataDir;
  if (dataDir.empty()) return;
  setenv(DATA_DIR_VARIABLE, std::filesystem::absolute(dataDir).c_str(), 1);
}

Output CommandLine::output() const {
  return {std::cout, _arguments.json, terminal_width(STDOUT_FILENO)};
}

int CommandLine::run(int argc, char** argv) {
  try {
    _app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return _app.exit(error) == 0 ? FOUND : USAGE_ERROR;
  }
  set_verbose(_arguments.verbose);
  useDataDir();
  ListCondition& condition = _arguments.condition;
  if (!_arguments.folderType.empty()) condition.folderType = folder_type_of(_arguments.folderType);
  // The query joins an id that repeats the last one with its neighbour.
  std::sort(condition.convIds.begin(), condition.convIds.end());
  condition.convIds.erase(std::unique(condition.convIds.begin(), condition.convIds.end()),
                          condition.convIds.end());

  CLI::App* chosen = _app.get_subcommands().front();
  while (!chosen->get_subcommands().empty()) chosen = chosen->get_subcommands().front();
  const int status = _commands.at(chosen)(output());
  if (!std::cout.flush()) throw Failure("cannot write the output");
  return status;
}

}  // namespace msg_tarvel::tool
