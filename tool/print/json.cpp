#include "print/json.h"

#include <ostream>

#include "print/printable.h"

namespace msg_tarvel::tool {

namespace {

constexpr int INDENT = 2;

}  // namespace

std::string json_text(const Json& json) {
  return with_escaped_controls(json.dump(INDENT, ' ', false, Json::error_handler_t::replace));
}

void print_json(const Output& output, const Json& json) { output.out << json_text(json) << "\n"; }

JsonList::JsonList(std::ostream& out, int depth)
    : _out(out), _indent(static_cast<std::size_t>(depth * INDENT), ' ') {}

void JsonList::add(const Json& item) {
  std::string text = "\n" + json_text(item);
  const std::string indent = _indent + std::string(INDENT, ' ');
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
    text.insert(++at, indent);
  }
  _out << (_isEmpty ? "[" : ",") << text;
  // Whoever waits for the first item of many gets it at once.
  if (_isEmpty) _out.flush();
  _isEmpty = false;
}

void JsonList::end() { _out << (_isEmpty ? "[" : "\n" + _indent) << "]\n"; }

}  // namespace msg_tarvel::tool
