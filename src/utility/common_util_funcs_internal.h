#pragma once

// The internal functions of the utilities, with the names that their log lines carry. The library
// does not export them; its other files and the unit tests reach them here.

namespace msg_tarvel::common_util {

/**
 * How many digits the international calling code at the start of `src` has, by the zones of ITU-T
 * E.164. `src` begins with the first digit after the international prefix. A second character that
 * is not a digit counts as a code of 2; a first one that begins no code gives 0; both are logged.
 */
int _countryCodeLength(const char* src);

/**
 * Creates or truncates the file `path` and writes `size` bytes at `data` to it; a size of 0 makes
 * an empty file. False when the file cannot be opened, which is logged as create_file_by_rawdata's
 * line.
 */
bool _write_file(const char* path, const char* data, unsigned int size);

}  // namespace msg_tarvel::common_util
