// msg-tarvel backup

#include <unistd.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "interrupt.h"
#include "print/json.h"
#include "print/printable.h"
#include "redact/redact.h"
#include "store/online_backup.h"
#include "store/private_directory.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

struct BackupArguments {
  std::string target;
  bool isRedacted = false;
};

/** Known to nobody after this process. */
std::string new_key() {
  std::string key(32, '\0');
  if (getentropy(key.data(), key.size()) != 0) throw Failure("the system has no random numbers");
  return key;
}

/** Returns what was left out. */
std::vector<std::string> back_up_redacted(const std::string& path, const std::string& target) {
  // Before the work: what keeps the file from being there is said at once.
  NewBackup backup(target);
  std::optional<PrivateDirectory> directory;
  std::vector<std::string> leftOut;
  try {
    directory.emplace();
    back_up(path, directory->database());
    leftOut = redact_database(directory->database(), new_key());
  } catch (const Failure& failure) {
    // Nobody knows of the copy.
    throw Failure("cannot write the backup " + target + ": " + failure.what());
  }
  backup.write(directory->database());
  return leftOut;
}

int write_backup(const Output& output, const BackupArguments& arguments) {
  const std::string& target = arguments.target;
  const std::string path = require_store();
  std::vector<std::string> leftOut;
  interruptible("nothing was written", [&] {
    if (arguments.isRedacted) {
      leftOut = back_up_redacted(path, target);
    } else {
      back_up(path, target);
    }
  });
  if (output.json) {
    Json json = {{"path", path}, {"backup", target}};
    if (arguments.isRedacted) json["leftOut"] = leftOut;
    print_json(output, json);
  } else {
    output.out << "written: " << printable(target) << "\n";
    for (const std::string& what : leftOut) output.out << "left out: " << printable(what) << "\n";
  }
  return FOUND;
}

}  // namespace

void declare_backup(CommandSet& commands) {
  const auto arguments = std::make_shared<BackupArguments>();
  CLI::App& app = commands.add(
      "backup", "Writes the store's database to a file, while others use it",
      "msg-tarvel backup messages.db\n\n"
      "The file is new, whole, and for its owner alone. It is the database without "
      "the pictures in\n"
      "media. With --redact it can be shown to others: texts, numbers, names, paths "
      "and tokens\n"
      "are replaced by others of the same length, equal ones by equal ones and numbers "
      "that\n"
      "match by numbers that match; ids, times, counters and what is wrong stay. What "
      "is no\n"
      "table, column or index of a store is left out and named.",
      [arguments](const Output& output) { return write_backup(output, *arguments); });
  app.add_option("FILE", arguments->target, "The new file")->required();
  app.add_flag("--redact", arguments->isRedacted, "Without what people wrote, and their numbers");
}

}  // namespace msg_tarvel::tool
