// msg-tarvel backup

#include <memory>
#include <ostream>
#include <string>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "import/interrupt.h"
#include "print/json.h"
#include "print/printable.h"
#include "store/online_backup.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

int write_backup(const Output& output, const std::string& target) {
  const std::string path = require_store();
  interruptible("nothing was written", [&] { back_up(path, target); });
  if (output.json) {
    print_json(output, {{"path", path}, {"backup", target}});
  } else {
    output.out << "written: " << printable(target) << "\n";
  }
  return FOUND;
}

}  // namespace

void declare_backup(CommandSet& commands) {
  const auto target = std::make_shared<std::string>();
  CLI::App& app =
      commands.add("backup", "Writes the store's database to a file, while others use it",
                   "msg-tarvel backup messages.db\n\n"
                   "The file is new, whole, and for its owner alone. It is the database without "
                   "the pictures in\n"
                   "media.",
                   [target](const Output& output) { return write_backup(output, *target); });
  app.add_option("FILE", *target, "The new file")->required();
}

}  // namespace msg_tarvel::tool
