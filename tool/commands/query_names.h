#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** The names of the library's queries, as they are exported. */
std::vector<std::string> query_names();

}  // namespace msg_tarvel::tool
