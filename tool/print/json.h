#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "print/output.h"

namespace msg_tarvel::tool {

/** Fields stay in the order in which they are written. */
using Json = nlohmann::ordered_json;

/**
 * A value on several lines. Bytes that are not UTF-8 become replacement characters; control
 * characters and those that turn the direction of a text are escaped.
 */
std::string json_text(const Json& json);
/** The same on one line. */
std::string json_line(const Json& json);

void print_json(const Output& output, const Json& json);

/** A list that is printed as it grows, so that it may be of any length. */
class JsonList {
 public:
  /** `depth`: how many values the list is within. */
  explicit JsonList(std::ostream& out, int depth = 0);

  void add(const Json& item);
  void end();

 private:
  std::ostream& _out;
  const std::string _indent;
  bool _isEmpty = true;
};

}  // namespace msg_tarvel::tool
