#include "print/json.h"

#include <ostream>

namespace msg_tarvel::tool {

void print_json(const Output& output, const Json& json) {
  output.out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

}  // namespace msg_tarvel::tool
