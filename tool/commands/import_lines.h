#pragma once

#include <string>

#include "import/restore.h"
#include "print/output.h"

namespace msg_tarvel::tool {

/** `import` of what `export` wrote, within a session; its exit status. */
int import_lines(const Output& output, const std::string& file, const RestoreOptions& options);

}  // namespace msg_tarvel::tool
