#include "print/remark.h"

#include <iostream>

#include "exit_status.h"
#include "print/printable.h"

namespace msg_tarvel::tool {

void remark(const std::string& what) {
  std::cout.flush();
  std::cerr << "msg-tarvel: " << printable(what) << "\n";
}

int nothing_found(const std::string& what) {
  remark(what);
  return NOTHING_FOUND;
}

}  // namespace msg_tarvel::tool
