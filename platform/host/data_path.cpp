// For development machines, never for the watch, whose system has this function itself. The data
// directory is $MSG_TARVEL_DATA_DIR or $XDG_DATA_HOME/msg-tarvel/.
//
// The library makes the directory itself, but nothing above it. On the watch the system has made
// that; here a new account may have no ~/.local/share yet.

#include <app_common.h>
#include <glib.h>

#include <cstring>
#include <string>

namespace {

/** As the rules for these directories have it. */
constexpr int PARENT_MODE = 0700;

}  // namespace

char* app_get_data_path(void) {
  std::string path;
  if (const char* directory = g_getenv("MSG_TARVEL_DATA_DIR"); directory && *directory) {
    path = directory;
  } else {
    const char* const parent = g_get_user_data_dir();
    // Where this fails, making the store fails and says so.
    g_mkdir_with_parents(parent, PARENT_MODE);
    path = std::string(parent) + "/msg-tarvel";
  }
  if (path.back() != '/') path += '/';
  return strdup(path.c_str());
}
