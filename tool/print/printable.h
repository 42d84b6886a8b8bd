#pragma once

#include <string>

namespace msg_tarvel::tool {

/**
 * `text` as one line that a terminal shows as it is: valid UTF-8 without control characters and
 * without characters that turn the direction of what follows.
 */
std::string printable(const std::string& text);

/** The columns that a printable text takes on a terminal. */
int display_width(const std::string& printableText);

/** A printable text cut to at most `width` columns, with "…" at the end when something is missing.
 */
std::string cut_to_width(const std::string& printableText, int width);

}  // namespace msg_tarvel::tool
