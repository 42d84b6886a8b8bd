#include "reliability/left_handles.h"

#include <sqlite3.h>

#include <vector>

#include "support/next_function.h"

namespace msg_tarvel {

namespace {

std::vector<sqlite3*>& left_handles() {
  static auto* const handles = new std::vector<sqlite3*>;
  return *handles;
}

}  // namespace

void close_left_handles() {
  for (sqlite3* const handle : left_handles()) sqlite3_close(handle);
  left_handles().clear();
}

extern "C" int sqlite3_open_v2(const char* filename, sqlite3** ppDb, int flags, const char* zVfs) {
  static const auto real = next_function("sqlite3_open_v2", &sqlite3_open_v2);
  const int code = real(filename, ppDb, flags, zVfs);
  if (code != SQLITE_OK && *ppDb) left_handles().push_back(*ppDb);
  return code;
}

}  // namespace msg_tarvel
