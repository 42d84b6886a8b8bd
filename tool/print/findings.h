#pragma once

#include <string>

#include "check/findings.h"
#include "print/json.h"
#include "print/output.h"

namespace msg_tarvel::tool {

/** As an array, in the order in which they were found. */
Json to_json(const std::vector<Finding>& findings);

/** What a check of the store at `path` found. */
void print_findings(const Output& output, const Findings& findings, const std::string& path);

/** A line for each finding. */
void print_finding_lines(std::ostream& out, const std::vector<Finding>& findings);

}  // namespace msg_tarvel::tool
