// msg-tarvel check

#include "check/check.h"

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <ostream>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "print/findings.h"
#include "store/media.h"
#include "store/reader_lock.h"
#include "store/store.h"
#include "store/store_copy.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

/** Whether somebody writes the store. For a file that this process has not open. */
bool is_being_written(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file == -1) return false;
  const bool isWritten = ReaderLock(file).isWriterThere();
  close(file);
  return isWritten;
}

int check(const Output& output, const std::vector<std::string>& names) {
  Findings findings(kinds_of(names));
  const std::string path = require_store();
  const bool wasBeingWritten = is_being_written(path);
  const std::vector<std::string> mediaFiles = names_in(media_directory());
  const bool isBeingWritten = wasBeingWritten || is_being_written(path);

  const StoreCopy copy(path);
  const bool isWriteAhead = is_write_ahead(copy.database());
  if (isWriteAhead) end_write_ahead(copy.database());
  const Database database(copy.database());
  check_store({database, data_directory(), mediaFiles, isBeingWritten, copy.isRollbackPending(),
               isWriteAhead},
              findings);
  print_findings(output, findings, path);
  return findings.empty() ? FOUND : NOTHING_FOUND;
}

}  // namespace

void declare_check(CommandSet& commands) {
  const auto kinds = std::make_shared<std::vector<std::string>>();
  CLI::App& app = commands.add(
      "check", "Looks for what is wrong with the store",
      "msg-tarvel check counters unread\n\n"
      "A private copy is looked at; the store is not changed, whatever state it is in. Exit status "
      "1\nfor a finding. The kinds:\n\n" +
          list_of_kinds(false),
      [kinds](const Output& output) { return check(output, *kinds); });
  app.add_option("KIND", *kinds, "What to look for (default: all)");
}

}  // namespace msg_tarvel::tool
