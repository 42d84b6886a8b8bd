#pragma once

#include <string>

namespace msg_tarvel::tool {

/**
 * Writes what the database `source` holds to the new file `target`, which only this user may read,
 * whole or not at all: in short steps, between which others write. Throws Failure or Interrupted.
 */
void back_up(const std::string& source, const std::string& target);

}  // namespace msg_tarvel::tool
