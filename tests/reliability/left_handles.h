#pragma once

namespace msg_tarvel {

/**
 * Closes what failed opens have left, which the library's interface does not; linked into a test
 * program, left_handles.cpp stands in front of sqlite3_open_v2 and collects it.
 */
void close_left_handles();

}  // namespace msg_tarvel
