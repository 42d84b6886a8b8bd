#pragma once

namespace msg_tarvel::common_util {

/**
 * How many digits the international calling code at the start of `src` has, by the zones of ITU-T
 * E.164. `src` begins with the first digit after the international prefix. A second character that
 * is not a digit counts as a code of 2; a first one that begins no code gives 0; both are logged.
 */
int _countryCodeLength(const char* src);

}  // namespace msg_tarvel::common_util
