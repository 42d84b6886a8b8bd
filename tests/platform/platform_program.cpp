// Calls one function of the host platform library and prints what it gives:
//   platform-program log PRIORITY TEXT
//   platform-program string KEY
//   platform-program number KEY
//   platform-program data-path

#include <app_common.h>
#include <dlog.h>
#include <vconf.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int print(char* text) {
  if (!text) return 1;
  std::puts(text);
  std::free(text);
  return 0;
}

int print_number(const char* key) {
  int number = 0;
  if (vconf_get_int(key, &number) < 0) return 1;
  std::printf("%d\n", number);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // GLib writes the log in the character set of the locale.
  std::setlocale(LC_ALL, "");
  const auto is = [&](const char* command, int arguments) {
    return argc == 2 + arguments && std::strcmp(argv[1], command) == 0;
  };
  if (is("log", 2)) {
    return __dlog_print(LOG_ID_MAIN, std::atoi(argv[2]), "MSG_TARVEL", "%s", argv[3]) < 0 ? 1 : 0;
  }
  if (is("string", 1)) return print(vconf_get_str(argv[2]));
  if (is("number", 1)) return print_number(argv[2]);
  if (is("data-path", 0)) return print(app_get_data_path());
  return 2;
}
