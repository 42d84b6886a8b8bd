#pragma once

#include <string>
#include <vector>

#include "../export.h"

/**
 * Device settings, phone numbers and small helpers. Every function may be called on any thread.
 * Those that return a text throw std::bad_alloc.
 */
namespace msg_tarvel::common_util {

/**
 * Whether the carrier's number-sharing service applies: the device's sales code is exactly "ATT".
 * The first answer holds for the life of the process; an unreadable code is a false.
 */
MSG_TARVEL_EXPORT bool is_linkdial_supported();

/** Whether the watch runs in its standalone mode. Read anew each time; false when unreadable. */
MSG_TARVEL_EXPORT bool is_wpc_mode();

/**
 * The number of trailing digits that decide whether two phone numbers are the same: the setting, or
 * 9 in Korea. The first value read holds for the life of the process; while the setting is
 * unreadable the answer is 0 and the next call tries again.
 */
MSG_TARVEL_EXPORT int get_min_match_digit();

/** Whether `number` is an optional "+" followed by digits only; "+" alone is, empty is not. */
MSG_TARVEL_EXPORT bool is_number(const std::string& number);

/**
 * The part of `number` that is matched: what follows "+" or "00" and the calling code, what follows
 * a leading "0", or else the last get_min_match_digit() characters.
 *
 * Throws std::out_of_range when `number` ends within the calling code, as "+2" does.
 */
MSG_TARVEL_EXPORT std::string convert_number(const std::string& number);

/**
 * Creates or truncates the file `path` and writes `size` bytes at `data` to it. False when a
 * pointer is null, `size` is 0 or the file cannot be opened.
 */
MSG_TARVEL_EXPORT bool create_file_by_rawdata(const char* path, const char* data,
                                              unsigned int size);

/** The values in decimal, joined by "," without spaces; empty for no values. */
MSG_TARVEL_EXPORT std::string to_comma_separated_string(const std::vector<int>& values);

}  // namespace msg_tarvel::common_util
