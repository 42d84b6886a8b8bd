#pragma once

#include <nlohmann/json.hpp>

#include "print/output.h"

namespace msg_tarvel::tool {

/** Fields stay in the order in which they are written. */
using Json = nlohmann::ordered_json;

/** Bytes that are not UTF-8 become replacement characters. */
void print_json(const Output& output, const Json& json);

}  // namespace msg_tarvel::tool
