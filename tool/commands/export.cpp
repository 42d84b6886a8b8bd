// msg-tarvel export

#include <unistd.h>

#include <memory>
#include <ostream>
#include <string>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "export/interruptible_output.h"
#include "export/json_lines.h"
#include "export/media_files.h"
#include "export/phone_xml.h"
#include "interrupt.h"
#include "print/remark.h"
#include "store/connections.h"
#include "store/media.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* JSON_LINES = "jsonl";
constexpr const char* PHONE_XML = "xml";

struct ExportArguments {
  MessageFilter filter;
  std::string format = JSON_LINES;
  std::string media;
};

/** Lines on standard output and files in a directory, both or neither. */
LeftOut write_with_files(const ExportArguments& arguments, const Database& database,
                         const std::string& media) {
  InterruptibleOutput lines(STDOUT_FILENO);
  std::ostream out(&lines);
  MediaTarget target(arguments.media);
  LeftOut leftOut = write_json_lines(database, {media, &target}, arguments.filter, out);
  // Without the lines the files are of no use.
  if (!out.flush()) throw Failure("cannot write the output");
  target.keep();
  return leftOut;
}

LeftOut write(const ExportArguments& arguments, const std::string& media, std::ostream& out) {
  const Database database(last_connection());
  if (arguments.format == PHONE_XML) {
    return write_phone_xml(database, media, arguments.filter, out);
  }
  if (arguments.media.empty()) {
    return write_json_lines(database, {media, nullptr}, arguments.filter, out);
  }
  return interruptible("no file was kept, and the lines are not whole",
                       [&] { return write_with_files(arguments, database, media); });
}

int export_store(const Output& output, ExportArguments arguments) {
  if (output.json) throw UsageError("export has formats of its own, and no --json");
  if (arguments.format == PHONE_XML && !arguments.media.empty()) {
    throw UsageError("XML has its files within it: no --media");
  }
  // In the order in which they came, but of a few the newest.
  arguments.filter.ascending = arguments.filter.limit == 0;
  const std::string media = media_directory();
  const StoreView view;
  for (const auto& [what, count] : write(arguments, media, output.out)) {
    remark("left out: " + std::to_string(count) + " " + what);
  }
  const bool isEverything = is_unsaid(arguments.filter);
  if (isEverything || MatchingMessages(arguments.filter).next()) return FOUND;
  return nothing_found("the store has no such message");
}

}  // namespace

void declare_export(CommandSet& commands) {
  const auto arguments = std::make_shared<ExportArguments>();
  CLI::App& app = commands.add(
      "export", "Prints messages for another store, or for a phone",
      "msg-tarvel export >messages.jsonl\n\n"
      "The format jsonl is lines of JSON: a conversation with its addresses, or a message with "
      "its\n"
      "contents, metadata and files, every column as it is stored. 'msg-tarvel import' reads them\n"
      "back into an empty store, which then has the same rows, ids and files. Without a word that\n"
      "chooses messages everything is exported, other tables too. The format xml is that of "
      "phones'\n"
      "SMS/MMS backup programs. What had to be left out is told on standard error; files are those "
      "in\nthe store's media.",
      [arguments](const Output& output) { return export_store(output, *arguments); });
  app.remove_option(app.get_option("--json"));
  declare_filter(app, arguments->filter);
  app.add_option("--format", arguments->format, "jsonl (default) or xml")
      ->check(CLI::IsMember({JSON_LINES, PHONE_XML}))
      ->type_name("FORMAT");
  app.add_option("--media", arguments->media,
                 "Write the files into this directory instead of the lines")
      ->type_name("DIR");
}

}  // namespace msg_tarvel::tool
