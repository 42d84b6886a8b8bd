#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

namespace msg_tarvel::tool {

/**
 * Numbers that look drawn by lot and follow from a seed alone: the same on every machine and with
 * every compiler, which those of the standard distributions are not (splitmix64).
 *
 * Two draws never stand in one expression, for their order would be the compiler's choice.
 */
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : _state(seed) {}

  std::uint64_t next() {
    _state += 0x9e3779b97f4a7c15U;
    std::uint64_t mixed = _state;
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebU;
    return mixed ^ (mixed >> 31);
  }

  /** 0 to `limit` - 1 */
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
  /** `least` to `most` */
  int between(int least, int most) {
    return least + static_cast<int>(below(static_cast<std::size_t>(most - least) + 1));
  }
  bool inThousand(std::size_t share) { return below(1000) < share; }

  template <typename List>
  const auto& oneOf(const List& list) {
    return *(std::begin(list) + static_cast<std::ptrdiff_t>(below(std::size(list))));
  }

  template <typename Value>
  void shuffle(std::vector<Value>& values) {
    for (std::size_t i = values.size(); i > 1; --i) std::swap(values[i - 1], values[below(i)]);
  }

 private:
  std::uint64_t _state;
};

}  // namespace msg_tarvel::tool
