// For development machines, never for the watch, whose system has this function itself. The data
// directory is $MSG_TARVEL_DATA_DIR or $XDG_DATA_HOME/msg-tarvel/.

#include <app_common.h>
#include <glib.h>

#include <cstring>
#include <string>

char* app_get_data_path(void) {
  std::string path;
  if (const char* directory = g_getenv("MSG_TARVEL_DATA_DIR"); directory && *directory) {
    path = directory;
  } else {
    path = std::string(g_get_user_data_dir()) + "/msg-tarvel";
  }
  if (path.back() != '/') path += '/';
  return strdup(path.c_str());
}
