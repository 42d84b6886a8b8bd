// msg-tarvel import

#include "import/import.h"

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "commands/import_lines.h"
#include "exit_status.h"
#include "helpers/transaction.h"
#include "print/json.h"
#include "print/printable.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t MOST_REPORT_LINES = 20;

struct ImportArguments {
  std::string file;
  std::string media;
  ImportOptions options;
};

Json to_json(const ImportSummary& summary) {
  Json reports = Json::array();
  for (const PartReport& report : summary.reports) {
    reports.push_back({{"line", report.line},
                       {"part", report.part},
                       {"contentType", report.contentType},
                       {"problem", report.problem}});
  }
  Json skipped = Json::object();
  for (const auto& [reason, count] : summary.skipped) skipped[reason] = count;
  return {{"read", summary.read},
          {"stored", summary.stored},
          {"skipped", summary.skippedInAll()},
          {"skippedBecause", skipped},
          {"partsStored", summary.partsStored},
          {"partsReported", summary.partsReported},
          {"reports", reports},
          {"conversationsCreated", summary.conversationsCreated}};
}

void print_text(std::ostream& out, const ImportSummary& summary) {
  out << "read:    " << summary.read << "\nstored:  " << summary.stored
      << "\nskipped: " << summary.skippedInAll() << "\n";
  for (const auto& [reason, count] : summary.skipped) {
    out << "  " << count << ": " << printable(reason) << "\n";
  }
  out << "conversations created: " << summary.conversationsCreated
      << "\nparts:   " << summary.partsStored << " stored, " << summary.partsReported
      << " of them reported\n";
  for (std::size_t i = 0; i < summary.reports.size() && i < MOST_REPORT_LINES; ++i) {
    const PartReport& report = summary.reports[i];
    out << "  line " << report.line << ", part " << report.part << " ("
        << printable(report.contentType) << "): " << report.problem << "\n";
  }
  if (summary.partsReported > static_cast<long>(MOST_REPORT_LINES)) {
    out << "  and " << summary.partsReported - static_cast<long>(MOST_REPORT_LINES) << " more\n";
  }
}

int import_file(const Output& output, const ImportArguments& arguments) {
  require_store();
  const helpers::StoreSession session;
  if (is_export(arguments.file)) {
    return import_lines(output, arguments.file,
                        {arguments.media, arguments.options.withoutIndexes});
  }
  const ImportSummary summary = import_backup(arguments.file, arguments.options);
  if (output.json) {
    print_json(output, to_json(summary));
  } else {
    print_text(output.out, summary);
  }
  return FOUND;
}

}  // namespace

void declare_import(CommandSet& commands) {
  const auto arguments = std::make_shared<ImportArguments>();
  CLI::App& app = commands.add(
      "import", "Imports the XML that Android phones' SMS/MMS backup programs write",
      "msg-tarvel import --own-number +14155550100 samples/backup.xml\n\n"
      "Received messages become folder 1, sent ones 3, drafts 4; what is being sent, waits or\n"
      "failed becomes folder 2 with network status 1, 1 or 3. Times stay milliseconds. mainText "
      "is\n"
      "the subject or else the text. Parts lie in the data directory's media/. What an earlier\n"
      "import stored is skipped. All of the file is imported, or nothing of it. A store without\n"
      "indexes gets them with it.",
      [arguments](const Output& output) { return import_file(output, *arguments); });
  app.add_option("FILE", arguments->file, "The backup, or what 'msg-tarvel export' wrote")->required();
  app.add_option("--own-number", arguments->options.ownNumbers,
                 "A number of the phone's owner, who is no participant of a conversation; may be "
                 "repeated (default: what the store's SIM cards and the file itself show)")
      ->type_name("NUMBER")
      ->allow_extra_args(false);
  app.add_option("--media", arguments->media,
                 "Where the files of an export lie that was written with --media")
      ->type_name("DIR");
  app.add_flag("--no-indexes", arguments->options.withoutIndexes,
               "Add no indexes to a store that lacks them");
}

}  // namespace msg_tarvel::tool
