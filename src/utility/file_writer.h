#pragma once

namespace msg_tarvel::common_util {

/**
 * Creates or truncates the file `path` and writes `size` bytes at `data` to it; a size of 0 makes
 * an empty file. False when the file cannot be opened, which is logged as create_file_by_rawdata's
 * line.
 */
bool _write_file(const char* path, const char* data, unsigned int size);

}  // namespace msg_tarvel::common_util
