#pragma once

#include <string>

#include "check/findings.h"

namespace msg_tarvel::tool {

/**
 * Checks the store whose database is `path`, by a private copy. To be called while this process has
 * not opened the store. Throws Failure when it cannot be copied.
 */
void check_copy(const std::string& path, Findings& findings);

}  // namespace msg_tarvel::tool
