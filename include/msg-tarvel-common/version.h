#pragma once

/**
 * \file
 * Which version of the library a program is compiled with, and which one it runs with. For C and
 * C++.
 */

#include "export.h"

#define MSG_TARVEL_VERSION_MAJOR 1 /**< Rises when the binary interface breaks. */
#define MSG_TARVEL_VERSION_MINOR 0 /**< Rises when the binary interface grows. */
#define MSG_TARVEL_VERSION_PATCH 0 /**< Rises when neither happens. */

/** Whether the headers are of the version `major`.`minor`.`patch` or newer; for the preprocessor.
 */
#define MSG_TARVEL_CHECK_VERSION(major, minor, patch) \
  (MSG_TARVEL_VERSION_MAJOR > (major) ||              \
   (MSG_TARVEL_VERSION_MAJOR == (major) &&            \
    (MSG_TARVEL_VERSION_MINOR > (minor) ||            \
     (MSG_TARVEL_VERSION_MINOR == (minor) && MSG_TARVEL_VERSION_PATCH >= (patch)))))

#ifdef __cplusplus
extern "C" {
#endif

/** The version of the library that the program runs with, such as "1.0.0". Any thread may ask. */
MSG_TARVEL_EXPORT const char* msg_tarvel_version(void);

#ifdef __cplusplus
}
#endif
