#include "commands/import_lines.h"

#include <ostream>

#include "exit_status.h"
#include "print/json.h"

namespace msg_tarvel::tool {

int import_lines(const Output& output, const std::string& file, const RestoreOptions& options) {
  const RestoredStore restored = restore_export(file, options);
  if (output.json) {
    print_json(output, {{"stored", restored.messages},
                        {"conversationsCreated", restored.conversations},
                        {"files", restored.files}});
  } else {
    output.out << "stored: " << restored.messages << " messages in " << restored.conversations
               << " conversations, with " << restored.files << " files\n";
  }
  return FOUND;
}

}  // namespace msg_tarvel::tool
