#include "check/check.h"

#include <fcntl.h>

#include <algorithm>

#include "store/media.h"

namespace msg_tarvel::tool {

namespace {

/** Whether SQLite can make anything of the file. */
bool is_readable(const CheckedStore& store, Findings& findings) {
  try {
    store.database.number("SELECT count(*) FROM sqlite_master;");
    return true;
  } catch (const DatabaseFailure& failure) {
    throw_if_interrupted();
    // Said whatever was asked for: none of it can be found out.
    const Kind kind = findings.wants(Kind::INTEGRITY) ? Kind::INTEGRITY : findings.wanted().front();
    findings.add(kind, "database", std::string("cannot be read: ") + failure.what());
    return false;
  }
}

}  // namespace

void check_store(const CheckedStore& store, Findings& findings) {
  check_files(store, findings);
  if (!is_readable(store, findings)) return;
  check_schema(store, findings);
  check_rows(store, findings);
  check_people(store, findings);
  check_media(store, findings);
}

std::vector<std::string> names_in(const std::string& directory) {
  // Not by the iterator of the standard library, which ends the program without memory.
  std::vector<std::string> names =
      names_of(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace msg_tarvel::tool
