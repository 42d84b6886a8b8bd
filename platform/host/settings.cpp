// For development machines, never for the watch, whose system has these functions itself. The
// device settings are a key file, $MSG_TARVEL_SETTINGS or $XDG_CONFIG_HOME/msg-tarvel/settings.ini.
// The key "db/csc/salescode" is the key "salescode" of the group "[db/csc]". What the file does not
// say is as on a device from the factory.

#include <dlog.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vconf.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr const char* LOG_TAG = "MSG_TARVEL";
constexpr int READ_FAILED = -1;

struct FactoryValue {
  const char* key;
  const char* value;
};

constexpr FactoryValue FACTORY_VALUES[] = {
    {"db/contacts-svc/phonenumber_min_match_digit", "8"},
    {"db/setup_wizard/standalone", "0"},
    {"db/csc/country_iso", "US"},
    {"db/csc/salescode", "NONE"},
};

struct KeyFileDeleter {
  void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileDeleter>;

struct GFreeDeleter {
  void operator()(char* text) const { g_free(text); }
};
using GText = std::unique_ptr<char, GFreeDeleter>;

/** Releases a GError when it goes out of scope. */
struct Error {
  GError* error = nullptr;
  Error() = default;
  Error(const Error&) = delete;
  Error& operator=(const Error&) = delete;
  ~Error() { g_clear_error(&error); }
};

std::string settings_path() {
  if (const char* path = g_getenv("MSG_TARVEL_SETTINGS"); path && *path) return path;
  const GText path(
      g_build_filename(g_get_user_config_dir(), "msg-tarvel", "settings.ini", nullptr));
  return path.get();
}

/** A file that is open for reading, or none. */
class OpenFile {
 public:
  // Non-blocking, so that a named pipe is refused rather than waited for.
  explicit OpenFile(const std::string& path)
      : _descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (_descriptor != -1) close(_descriptor);
  }

  bool isOpen() const { return _descriptor != -1; }
  bool isRegular() const {
    struct stat status = {};
    return fstat(_descriptor, &status) == 0 && S_ISREG(status.st_mode);
  }
  /** Appends all of it to `text`; false, with errno, when it cannot be read. */
  bool read(std::string& text) const {
    char piece[4096];
    for (;;) {
      const ssize_t count = ::read(_descriptor, piece, sizeof piece);
      if (count == 0) return true;
      if (count > 0) text.append(piece, static_cast<std::size_t>(count));
      if (count == -1 && errno != EINTR) return false;
    }
  }

 private:
  const int _descriptor;
};

/** Loads the file into `settings`; why not, or nothing, also for a file that is not there. */
std::string load_file(const std::string& path, GKeyFile* settings) {
  const OpenFile file(path);
  if (!file.isOpen()) return errno == ENOENT ? "" : g_strerror(errno);
  if (!file.isRegular()) return "Not a regular file";
  std::string text;
  if (!file.read(text)) return g_strerror(errno);
  Error failure;
  if (g_key_file_load_from_data(settings, text.data(), text.size(), G_KEY_FILE_NONE,
                                &failure.error)) {
    return "";
  }
  return failure.error->message;
}

/** The settings, without groups when there is no file; null when the file is there but unusable. */
KeyFile load_settings() {
  // One line for a file that stays broken, however many reads fail because of it.
  static std::atomic<bool> reported{false};

  const std::string path = settings_path();
  KeyFile settings(g_key_file_new());
  const std::string problem = load_file(path, settings.get());
  if (problem.empty()) {
    reported = false;
    return settings;
  }
  if (!reported.exchange(true)) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, LOG_TAG, "The settings file %s cannot be read: %s",
                 path.c_str(), problem.c_str());
  }
  return nullptr;
}

/** What stands under `key`, in the file or from the factory; null when there is nothing. */
GText read_setting(const char* key) {
  const char* slash = key ? std::strrchr(key, '/') : nullptr;
  if (!slash) return nullptr;
  const KeyFile settings = load_settings();
  if (!settings) return nullptr;

  const std::string group(key, slash);
  Error failure;
  GText value(g_key_file_get_string(settings.get(), group.c_str(), slash + 1, &failure.error));
  if (value) return value;
  if (!g_error_matches(failure.error, G_KEY_FILE_ERROR, G_KEY_FILE_ERROR_KEY_NOT_FOUND) &&
      !g_error_matches(failure.error, G_KEY_FILE_ERROR, G_KEY_FILE_ERROR_GROUP_NOT_FOUND)) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, LOG_TAG, "The setting %s cannot be read: %s", key,
                 failure.error->message);
    return nullptr;
  }
  for (const FactoryValue& factory : FACTORY_VALUES) {
    if (std::strcmp(factory.key, key) == 0) return GText(g_strdup(factory.value));
  }
  return nullptr;
}

}  // namespace

char* vconf_get_str(const char* in_key) {
  const GText value = read_setting(in_key);
  return value ? strdup(value.get()) : nullptr;
}

int vconf_get_int(const char* in_key, int* intval) {
  const GText value = read_setting(in_key);
  if (!value || !intval) return READ_FAILED;
  gint64 number = 0;
  Error failure;
  if (!g_ascii_string_to_signed(value.get(), 10, G_MININT, G_MAXINT, &number, &failure.error)) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, LOG_TAG, "The setting %s is not a number: %s", in_key,
                 failure.error->message);
    return READ_FAILED;
  }
  *intval = static_cast<int>(number);
  return 0;
}
