#include "print/findings.h"

#include <ostream>

#include "print/printable.h"

namespace msg_tarvel::tool {

Json to_json(const std::vector<Finding>& findings) {
  Json json = Json::array();
  for (const Finding& finding : findings) {
    json.push_back({{"kind", description_of(finding.kind).name},
                    {"object", finding.object},
                    {"problem", finding.problem}});
  }
  return json;
}

void print_finding_lines(std::ostream& out, const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) {
    out << description_of(finding.kind).name << ": " << printable(finding.object) << ": "
        << printable(finding.problem) << "\n";
  }
}

void print_findings(const Output& output, const Findings& findings, const std::string& path) {
  if (output.json) {
    Json counts = Json::object();
    for (const Kind kind : findings.wanted()) {
      counts[description_of(kind).name] = findings.count(kind);
    }
    print_json(output, {{"path", path}, {"counts", counts}, {"findings", to_json(findings.all())}});
    return;
  }
  print_finding_lines(output.out, findings.all());
  for (const Kind kind : findings.wanted()) {
    const long more = findings.count(kind) - Findings::MOST_PER_KIND;
    if (more > 0) output.out << description_of(kind).name << ": and " << more << " more\n";
  }
  if (findings.empty()) output.out << "nothing found: " << printable(path) << "\n";
}

}  // namespace msg_tarvel::tool
