// msg-tarvel check

#include <memory>

#include "check/check_copy.h"
#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "print/findings.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

int check(const Output& output, const std::vector<std::string>& names) {
  Findings findings(kinds_of(names));
  const std::string path = require_store();
  check_copy(path, findings);
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
