#pragma once

#include <iosfwd>

namespace msg_tarvel::tool {

/** How a command prints: for a person, `width` columns wide (0: any), or as JSON. */
struct Output {
  std::ostream& out;
  bool json = false;
  int width = 80;
};

}  // namespace msg_tarvel::tool
