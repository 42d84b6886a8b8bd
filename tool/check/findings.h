#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "check/kinds.h"

namespace msg_tarvel::tool {

/** Something that is wrong. */
struct Finding {
  Kind kind;
  /** A path, a table, "conversation 3", ... */
  std::string object;
  std::string problem;
};

/** What a check found of the kinds that were asked for. */
class Findings {
 public:
  /** As many of a kind are kept; all are counted. */
  static constexpr long MOST_PER_KIND = 100;

  explicit Findings(std::vector<Kind> wanted) : _wanted(std::move(wanted)) {}

  bool wants(Kind kind) const {
    return std::find(_wanted.begin(), _wanted.end(), kind) != _wanted.end();
  }
  void add(Kind kind, std::string object, std::string problem) {
    if (!wants(kind)) return;
    if (++_counts[kind] <= MOST_PER_KIND) {
      _all.push_back({kind, std::move(object), std::move(problem)});
    }
  }

  const std::vector<Kind>& wanted() const { return _wanted; }
  const std::vector<Finding>& all() const { return _all; }
  long count(Kind kind) const {
    const auto found = _counts.find(kind);
    return found == _counts.end() ? 0 : found->second;
  }
  bool empty() const { return _all.empty(); }

 private:
  std::vector<Kind> _wanted;
  std::vector<Finding> _all;
  std::map<Kind, long> _counts;
};

}  // namespace msg_tarvel::tool
