#include "check/kinds.h"

#include <algorithm>
#include <iterator>

#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t NAME_WIDTH = 21;

}  // namespace

const KindDescription& description_of(Kind kind) {
  return *std::find_if(std::begin(KINDS), std::end(KINDS),
                       [kind](const KindDescription& one) { return one.kind == kind; });
}

std::vector<Kind> kinds_of(const std::vector<std::string>& names) {
  std::vector<Kind> kinds;
  for (const KindDescription& kind : KINDS) {
    if (names.empty() || std::count(names.begin(), names.end(), kind.name) > 0) {
      kinds.push_back(kind.kind);
    }
  }
  for (const std::string& name : names) {
    const bool isKnown = std::any_of(std::begin(KINDS), std::end(KINDS),
                                     [&name](const auto& kind) { return name == kind.name; });
    if (!isKnown) {
      throw UsageError("there is no kind of finding '" + name + "'; --help lists them");
    }
  }
  return kinds;
}

std::string list_of_kinds(bool withRepair) {
  std::string list;
  for (const KindDescription& kind : KINDS) {
    std::string line = "  " + std::string(kind.name);
    line.resize(std::max(line.size(), NAME_WIDTH), ' ');
    list += line + " ";
    if (withRepair) {
      list += kind.repair ? kind.repair : "left";
    } else {
      list += kind.description;
    }
    list += "\n";
  }
  return list;
}

}  // namespace msg_tarvel::tool
