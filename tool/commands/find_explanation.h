#pragma once

#include <string>
#include <vector>

#include "print/output.h"

namespace msg_tarvel::tool {

/**
 * Says step by step how the search for the conversation of `people` goes, who are normalised and
 * each there once, and what it finds: `found`, or 0.
 */
void print_explanation(const Output& output, const std::vector<std::string>& people, int found);

}  // namespace msg_tarvel::tool
