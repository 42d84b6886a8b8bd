#pragma once

#include <iosfwd>

#include "export/json_lines.h"

namespace msg_tarvel::tool {

/**
 * Writes the messages that `filter` lets pass as the XML of Android phones' SMS/MMS backup
 * programs, files within it. Returns what that format has no place for. Memory does not grow with
 * the store. Throws Failure.
 */
LeftOut write_phone_xml(const Database& database, const std::string& media,
                        const MessageFilter& filter, std::ostream& out);

}  // namespace msg_tarvel::tool
