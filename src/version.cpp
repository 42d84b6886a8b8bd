#include "msg-tarvel-common/version.h"

#define TEXT_OF(value) TEXT_OF_(value)
#define TEXT_OF_(value) #value

const char* msg_tarvel_version(void) {
  return TEXT_OF(MSG_TARVEL_VERSION_MAJOR) "." TEXT_OF(MSG_TARVEL_VERSION_MINOR) "." TEXT_OF(
      MSG_TARVEL_VERSION_PATCH);
}
