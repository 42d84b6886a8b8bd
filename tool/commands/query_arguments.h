#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** The arguments of one query. Each function throws UsageError for what it does not understand. */
class QueryArguments {
 public:
  explicit QueryArguments(const std::vector<std::string>& words) : _words(words) {}

  std::size_t count() const { return _words.size(); }
  const std::string& text(std::size_t position) const { return _words.at(position); }
  int number(std::size_t position) const;
  long long longNumber(std::size_t position) const;
  /** 0, 1, false or true. */
  bool flag(std::size_t position) const;
  std::vector<int> numbers() const;

 private:
  const std::vector<std::string>& _words;
};

}  // namespace msg_tarvel::tool
