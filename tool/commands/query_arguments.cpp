#include "commands/query_arguments.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "exit_status.h"

namespace msg_tarvel::tool {

long long QueryArguments::longNumber(std::size_t position) const {
  const std::string& word = text(position);
  char* end = nullptr;
  errno = 0;
  const long long number = std::strtoll(word.c_str(), &end, 10);
  if (word.empty() || *end != '\0' || errno != 0) {
    throw UsageError("query: '" + word + "' is no number");
  }
  return number;
}

int QueryArguments::number(std::size_t position) const {
  const long long wide = longNumber(position);
  if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max()) {
    throw UsageError("query: '" + text(position) + "' is no number of 32 bits");
  }
  return static_cast<int>(wide);
}

bool QueryArguments::flag(std::size_t position) const {
  const std::string& word = text(position);
  if (word == "0" || word == "false") return false;
  if (word == "1" || word == "true") return true;
  throw UsageError("query: '" + word + "' is neither 0 nor 1");
}

std::vector<int> QueryArguments::numbers() const {
  std::vector<int> all;
  for (std::size_t i = 0; i < count(); ++i) all.push_back(number(i));
  return all;
}

}  // namespace msg_tarvel::tool
