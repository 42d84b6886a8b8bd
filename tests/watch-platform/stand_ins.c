// What the watch's own libraries export, as far as the library calls it: one library per macro. The
// log goes to standard error, settings are a factory-new device's, the data directory is the
// environment's.

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef STAND_IN_DLOG
#include <dlog.h>
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
  va_list arguments;
  int length;
  (void)log_id;
  fprintf(stderr, "%d %s ", prio, tag);
  va_start(arguments, fmt);
  length = vfprintf(stderr, fmt, arguments);
  va_end(arguments);
  return length;
}
#endif

#ifdef STAND_IN_VCONF
#include <vconf.h>
char* vconf_get_str(const char* in_key) {
  return strdup(strcmp(in_key, "db/csc/country_iso") == 0 ? "US" : "NONE");
}
int vconf_get_int(const char* in_key, int* intval) {
  *intval = strcmp(in_key, "db/contacts-svc/phonenumber_min_match_digit") == 0 ? 8 : 0;
  return 0;
}
#endif

#ifdef STAND_IN_APP_COMMON
#include <app_common.h>
char* app_get_data_path(void) {
  const char* path = getenv("MSG_TARVEL_DATA_DIR");
  size_t length = path ? strlen(path) : 0;
  char* copy = length > 0 ? malloc(length + 2) : NULL;
  if (copy) strcat(strcpy(copy, path), path[length - 1] == '/' ? "" : "/");
  return copy;
}
#endif
