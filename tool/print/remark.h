#pragma once

#include <string>

namespace msg_tarvel::tool {

/** One line on standard error, with the program's name in front. */
void remark(const std::string& what);

/** Says what there is none of; the exit status NOTHING_FOUND. */
int nothing_found(const std::string& what);

}  // namespace msg_tarvel::tool
