// msg-tarvel repair

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "check/check_copy.h"
#include "check/mend.h"
#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "helpers/store_error.h"
#include "interrupt.h"
#include "print/findings.h"
#include "print/printable.h"
#include "store/database.h"
#include "store/log_sink.h"
#include "store/online_backup.h"
#include "store/store.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

struct RepairArguments {
  std::vector<std::string> kinds;
  bool isDryRun = false;
};

/** What a repair did, or would do. */
struct Repair {
  std::string path;
  std::string backup;
  Findings before;
  Findings left;

  long mended(Kind kind) const { return before.count(kind) - left.count(kind); }
};

/** In the data directory, by the time in UTC; not there yet. */
std::string backup_path() {
  const std::time_t now = std::time(nullptr);
  char time[32];
  std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", std::gmtime(&now));
  const std::string base = data_directory() + "before-repair-" + time;
  std::string path = base + ".db";
  for (int other = 2; std::filesystem::exists(std::filesystem::symlink_status(path)); ++other) {
    path = base + "-" + std::to_string(other) + ".db";
  }
  return path;
}

/** Whoever mends rows must know that the database is sound, whatever was asked for. */
void require_soundness(const std::string& path) {
  Findings integrity({Kind::INTEGRITY});
  check_copy(path, integrity);
  if (!is_damaged(integrity)) return;
  throw Failure("cannot mend " + path + ": " + integrity.all().front().problem +
                "; nothing was changed");
}

/** What nobody could mend without guessing. */
Findings left_for_guessing(const Findings& before) {
  Findings left(before.wanted());
  for (const Finding& finding : before.all()) {
    if (description_of(finding.kind).repair) continue;
    left.add(finding.kind, finding.object, finding.problem);
  }
  return left;
}

/** What is left of a store that was mended, whatever comes of this look at it. */
Findings left_after_mending(const std::string& path, const std::vector<Kind>& kinds) {
  if (is_interrupted()) {
    throw Interrupted{interrupting_signal(), "the store is mended, and what is left is not known"};
  }
  Findings left(kinds);
  try {
    check_copy(path, left);
  } catch (const Failure& failure) {
    throw Failure("mended " + path + ", but cannot tell what is left: " + failure.what());
  }
  return left;
}

Repair mend_store(const std::string& path, const RepairArguments& arguments) {
  const std::vector<Kind> kinds = kinds_of(arguments.kinds);
  Repair repair{path, "", Findings(kinds), Findings(kinds)};
  require_soundness(path);
  check_copy(path, repair.before);
  repair.left = left_for_guessing(repair.before);
  if (arguments.isDryRun || repair.left.all().size() == repair.before.all().size()) return repair;
  repair.backup = backup_path();
  back_up(path, repair.backup);
  try {
    mend_database(repair.before);
  } catch (const helpers::UnknownOutcome&) {
    // Unless it was a lock that it waited for in vain, the commit may have been done.
    if (is_lock_error()) unlink(repair.backup.c_str());
    throw;
  } catch (...) {
    unlink(repair.backup.c_str());
    throw;
  }
  after_change([&] { mend_files(repair.before); });
  return repair;
}

/** The same, with the store's name in what goes wrong in its database. */
Repair mend_named_store(const std::string& path, const RepairArguments& arguments) {
  try {
    return mend_store(path, arguments);
  } catch (const DatabaseFailure& failure) {
    throw Failure("cannot mend " + path + ": " + failure.what());
  }
}

Json json_of(const Repair& repair) {
  Json json = {{"path", repair.path}};
  if (!repair.backup.empty()) json["backup"] = repair.backup;
  json["mended"] = Json::object();
  json["leftCounts"] = Json::object();
  for (const Kind kind : repair.before.wanted()) {
    const char* const name = description_of(kind).name;
    if (repair.mended(kind) > 0) json["mended"][name] = repair.mended(kind);
    if (repair.left.count(kind) > 0) json["leftCounts"][name] = repair.left.count(kind);
  }
  json["left"] = to_json(repair.left.all());
  return json;
}

void print_text(std::ostream& out, const Repair& repair, bool isDryRun) {
  if (!repair.backup.empty()) out << "backup: " << printable(repair.backup) << "\n";
  for (const Kind kind : repair.before.wanted()) {
    if (repair.mended(kind) <= 0) continue;
    out << (isDryRun ? "would try: " : "mended: ") << description_of(kind).name << ", "
        << repair.mended(kind) << "\n";
  }
  for (const Kind kind : repair.before.wanted()) {
    if (repair.left.count(kind) == 0) continue;
    out << (isDryRun ? "would leave: " : "left: ") << description_of(kind).name << ", "
        << repair.left.count(kind) << "\n";
  }
  print_finding_lines(out, repair.left.all());
  if (repair.before.empty()) out << "nothing to mend: " << printable(repair.path) << "\n";
}

int repair_store(const Output& output, const RepairArguments& arguments) {
  const std::string path = require_store();
  Repair repair =
      interruptible("nothing was changed", [&] { return mend_named_store(path, arguments); });
  const auto tell = [&] {
    if (!repair.backup.empty()) repair.left = left_after_mending(path, repair.before.wanted());
    if (output.json) {
      print_json(output, json_of(repair));
    } else {
      print_text(output.out, repair, arguments.isDryRun);
    }
  };
  if (repair.backup.empty()) {
    tell();
  } else {
    after_change(tell);
  }
  return repair.left.empty() ? FOUND : NOTHING_FOUND;
}

}  // namespace

void declare_repair(CommandSet& commands) {
  const auto arguments = std::make_shared<RepairArguments>();
  CLI::App& app = commands.add(
      "repair", "Mends what is wrong with the store and needs no guessing",
      "msg-tarvel repair --dry-run\n\n"
      "The database as it was stays in the data directory, as before-repair-TIME.db. Its rows are\n"
      "mended in one transaction. A database that is damaged in itself is left alone. Exit status "
      "1\n"
      "when something is left. Of the kinds of findings:\n\n" +
          list_of_kinds(true),
      [arguments](const Output& output) { return repair_store(output, *arguments); });
  app.add_flag("--dry-run", arguments->isDryRun, "Say what would be done, and change nothing");
  app.add_option("KIND", arguments->kinds, "What to mend (default: all)");
}

}  // namespace msg_tarvel::tool
