#include "filter/whole_number.h"

#include <cerrno>
#include <cstdlib>
#include <string>

namespace msg_tarvel::tool {

CLI::Validator whole_number(unsigned long long least, unsigned long long most) {
  const auto complaint = [least, most](const std::string& word) -> std::string {
    // As the command line reads it afterwards: 0x10 is a number too.
    constexpr int ANY_BASE = 0;
    char* end = nullptr;
    errno = 0;
    const unsigned long long number = std::strtoull(word.c_str(), &end, ANY_BASE);
    if (word.empty() || *end != '\0') return "'" + word + "' is no whole number";
    const bool isNegative = number != 0 && word.find('-') != std::string::npos;
    if (isNegative || number < least) {
      return word + " is too small; the least is " + std::to_string(least);
    }
    if (errno == ERANGE || number > most) {
      return word + " is too large; the most is " + std::to_string(most);
    }
    return {};
  };
  // Without a description, which the help would show behind the value's name.
  return {complaint, ""};
}

}  // namespace msg_tarvel::tool
