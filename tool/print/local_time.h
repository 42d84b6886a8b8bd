#pragma once

#include <string>

namespace msg_tarvel::tool {

/** Local time, of milliseconds since 1970; a time that no calendar has, as it is stored. */
std::string local_time(long long milliseconds, const char* format = "%Y-%m-%d %H:%M");

}  // namespace msg_tarvel::tool
