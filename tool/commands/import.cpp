// msg-tarvel import

#include "import/import.h"

#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "backup/backup_file.h"
#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "helpers/transaction.h"
#include "print/json.h"
#include "print/printable.h"
#include "store/device_settings.h"
#include "store/store.h"
#include "store/work_time.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t MOST_REPORT_LINES = 20;

struct ImportArguments {
  std::vector<std::string> files;
  ImportOptions options;
};

const char* word_for(OwnNumberSource source) {
  switch (source) {
    case OwnNumberSource::OPTION:
      return "option";
    case OwnNumberSource::SIM_CARD:
      return "sim";
    case OwnNumberSource::BACKUP:
      break;
  }
  return "backup";
}

Json lists_of(const ImportSummary& summary) {
  Json lists = {{"reports", Json::array()},
                {"ownNumbers", Json::array()},
                {"damage", Json::array()},
                {"twoConversations", Json::array()}};
  for (const PartReport& report : summary.reports) {
    lists["reports"].push_back({{"line", report.line},
                                {"part", report.part},
                                {"contentType", report.contentType},
                                {"problem", report.problem}});
  }
  for (const OwnNumberReport& own : summary.ownNumbers) {
    lists["ownNumbers"].push_back(
        {{"number", own.number}, {"source", word_for(own.source)}, {"messages", own.messages}});
  }
  for (const DamageReport& damage : summary.damage) {
    lists["damage"].push_back({{"line", damage.line}, {"problem", damage.problem}});
  }
  for (const helpers::Twins& twins : summary.twins) {
    lists["twoConversations"].push_back(
        {{"address", twins.address}, {"conversation", twins.convId}, {"other", twins.otherConvId}});
  }
  return lists;
}

Json json_of(const ImportSummary& summary, bool isDryRun) {
  Json skipped = Json::object();
  Json firstSkipped = Json::object();
  for (const auto& [reason, messages] : summary.skipped) {
    skipped[reason] = messages.count;
    firstSkipped[reason] = messages.firstLine;
  }
  Json json = {{"file", summary.file},
               {"dryRun", isDryRun},
               {"count", summary.count ? Json(*summary.count) : Json()},
               {"read", summary.read},
               {"stored", summary.stored},
               {"skipped", summary.skippedInAll()},
               {"skippedBecause", skipped},
               {"skippedFirst", firstSkipped},
               {"partsStored", summary.partsStored},
               {"partsReported", summary.partsReported},
               {"damages", summary.damages},
               {"conversationsCreated", summary.conversationsCreated}};
  json.update(lists_of(summary));
  return json;
}

/** The first lines, and those that `isAlwaysShown`; then how many more there are. */
template <typename Report, typename Show, typename IsAlwaysShown>
void print_first(std::ostream& out, const std::vector<Report>& reports, long count,
                 const Show& show, const IsAlwaysShown& isAlwaysShown) {
  long shown = 0;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    if (i >= MOST_REPORT_LINES && !isAlwaysShown(reports[i])) continue;
    show(reports[i]);
    ++shown;
  }
  if (count > shown) out << "  and " << count - shown << " more\n";
}

void print_parts(std::ostream& out, const ImportSummary& summary) {
  out << "parts:   " << summary.partsStored << " stored, " << summary.partsReported
      << " of them reported\n";
  const auto show = [&out](const PartReport& report) {
    out << "  line " << report.line << ", part " << report.part << " ("
        << printable(report.contentType) << "): " << report.problem << "\n";
  };
  const auto isFirstOfItsKind = [&summary](const PartReport& report) {
    const auto first =
        std::find_if(summary.reports.begin(), summary.reports.end(),
                     [&report](const PartReport& one) { return one.problem == report.problem; });
    return &*first == &report;
  };
  print_first(out, summary.reports, summary.partsReported, show, isFirstOfItsKind);
}

void print_remarks(std::ostream& out, const ImportSummary& summary) {
  if (summary.isCountFarOff()) {
    out << "the file says that it has " << *summary.count << " messages\n";
  }
  for (const OwnNumberReport& own : summary.ownNumbers) {
    const bool isGuess = own.source == OwnNumberSource::BACKUP;
    out << "own number" << (isGuess ? ", by what the file shows" : "") << ": "
        << printable(own.number) << ", in " << own.messages << " messages with others\n";
  }
  const auto never = [](const auto& /*report*/) { return false; };
  if (!summary.twins.empty()) {
    out << "one person's numbers, as their ends show, in two conversations: "
        << summary.twins.size() << "\n";
    const auto show = [&out](const helpers::Twins& twins) {
      out << "  " << printable(twins.address) << ": " << twins.convId << " and "
          << twins.otherConvId << "\n";
    };
    print_first(out, summary.twins, static_cast<long>(summary.twins.size()), show, never);
  }
  if (summary.damages == 0) return;
  out << "damaged: " << summary.damages << "\n";
  const auto show = [&out](const DamageReport& damage) {
    out << "  line " << damage.line << ": " << printable(damage.problem) << "\n";
  };
  print_first(out, summary.damage, summary.damages, show, never);
}

void print_text(std::ostream& out, const ImportSummary& summary) {
  out << "read:    " << summary.read << "\nstored:  " << summary.stored
      << "\nskipped: " << summary.skippedInAll() << "\n";
  for (const auto& [reason, messages] : summary.skipped) {
    out << "  " << messages.count << ": " << printable(reason) << " (first in line "
        << messages.firstLine << ")\n";
  }
  out << "conversations created: " << summary.conversationsCreated << "\n";
  print_parts(out, summary);
  print_remarks(out, summary);
}

/** Prints the summaries of files as they come, one after the other. */
class Summaries {
 public:
  Summaries(const Output& output, const ImportArguments& arguments)
      : _output(output),
        _isOne(arguments.files.size() == 1),
        _isDryRun(arguments.options.isDryRun) {}

  void add(const ImportSummary& summary) {
    if (_output.json) {
      _json.push_back(json_of(summary, _isDryRun));
      return;
    }
    if (_isDryRun) _output.out << "nothing is changed; an import would do this\n";
    if (!_isOne) _output.out << printable(summary.file) << "\n";
    print_text(_output.out, summary);
  }

  void end() {
    if (_output.json && !_json.empty()) print_json(_output, _isOne ? _json.front() : _json);
    _output.out.flush();
  }
  /** When a later file failed, of which the program has yet to tell. */
  void endWithoutMore() {
    try {
      end();
    } catch (const std::bad_alloc&) {
    }
  }

 private:
  const Output& _output;
  const bool _isOne;
  const bool _isDryRun;
  Json _json = Json::array();
};

/** What came of an import that was interrupted behind so many files. */
std::string outcome_after(long imported) {
  const std::string files =
      imported == 1 ? "first file is" : "first " + std::to_string(imported) + " files are";
  return "the " + files + " imported, and nothing of the next";
}

int import_files(const Output& output, const ImportArguments& arguments) {
  const auto& files = arguments.files;
  if (std::count(files.begin(), files.end(), STANDARD_INPUT) > 1) {
    throw UsageError("standard input can be imported once only");
  }
  require_store();
  require_settings();
  allow_work_time_for_each_statement();
  const helpers::StoreSession session;
  Summaries summaries(output, arguments);
  const auto tell = [&arguments](const auto& action) {
    if (arguments.options.isDryRun) {
      action();
    } else {
      after_change(action);
    }
  };
  int status = FOUND;
  long imported = 0;
  try {
    for (const std::string& file : files) {
      const ImportSummary summary = import_backup(file, arguments.options);
      if (summary.damages > 0) status = NOTHING_FOUND;
      tell([&] { summaries.add(summary); });
      ++imported;
    }
  } catch (Interrupted& interrupted) {
    summaries.endWithoutMore();
    if (imported > 0 && !arguments.options.isDryRun) interrupted.outcome = outcome_after(imported);
    throw;
  } catch (...) {
    summaries.endWithoutMore();
    throw;
  }
  tell([&] { summaries.end(); });
  return status;
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
      "import stored is skipped. All of a file is imported, or nothing of it; files before one\n"
      "that fails stay imported. A store without indexes gets them with it. What 'msg-tarvel\n"
      "export' wrote is read back into a store without messages, with neither --own-number nor\n"
      "--keep-going.",
      [arguments](const Output& output) { return import_files(output, *arguments); });
  app.add_option("FILE", arguments->files,
                 "The backups, also compressed by gzip; \"-\" is standard input")
      ->required();
  app.add_option("--own-number", arguments->options.ownNumbers,
                 "A number of the phone's owner, who is no participant of a conversation; may be "
                 "repeated, and ends all guessing (default: what the store's SIM cards and the "
                 "file itself show)")
      ->type_name("NUMBER")
      ->allow_extra_args(false);
  app.add_flag("--keep-going", arguments->options.keepsGoing,
               "Take what is good of a damaged file, and say where it is damaged; exit status 1");
  app.add_flag("--dry-run", arguments->options.isDryRun,
               "Say what an import would do, and change nothing");
  app.add_option("--media", arguments->options.media,
                 "Where the files of an export lie that was written with --media")
      ->type_name("DIR");
  app.add_flag("--no-indexes", arguments->options.withoutIndexes,
               "Add no indexes to a store that lacks them");
}

}  // namespace msg_tarvel::tool
