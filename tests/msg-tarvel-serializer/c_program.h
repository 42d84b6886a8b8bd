#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Hands a message and its metadata over to itself, in C, with every public function of the
 * serializer. Null when all is well, else what was wrong.
 */
const char* hand_over_in_c(void);

#ifdef __cplusplus
}
#endif
