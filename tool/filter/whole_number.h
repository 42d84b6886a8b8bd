#pragma once

#include <CLI/CLI.hpp>
#include <climits>

namespace msg_tarvel::tool {

/** A check that the value of an option is a whole number from `least` to `most`. */
CLI::Validator whole_number(unsigned long long least, unsigned long long most = INT_MAX);

}  // namespace msg_tarvel::tool
