#include "print/json.h"

#include <ostream>

#include "print/printable.h"

namespace msg_tarvel::tool {

void print_json(const Output& output, const Json& json) {
  output.out << with_escaped_controls(json.dump(2, ' ', false, Json::error_handler_t::replace))
             << "\n";
}

}  // namespace msg_tarvel::tool
