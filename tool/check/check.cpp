#include "check/check.h"

#include <algorithm>
#include <filesystem>

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
  std::vector<std::string> names;
  std::error_code end;
  for (std::filesystem::directory_iterator at(directory, end), none; !end && at != none;
       at.increment(end)) {
    names.push_back(at->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace msg_tarvel::tool
