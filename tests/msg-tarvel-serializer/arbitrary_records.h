#pragma once

// Arbitrary trees of records, for properties.

#include <rapidcheck.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "support/records.h"

namespace msg_tarvel::wire_test {

/** Null, empty, or any bytes but the one that ends a text. */
inline Text arbitrary_text() {
  const auto text = *rc::gen::maybe(rc::gen::container<std::string>(rc::gen::nonZero<char>()));
  return text ? Text(*text) : std::nullopt;
}

inline Values arbitrary_values(Counts counts) {
  Values values;
  values.opaque = *rc::gen::container<std::vector<std::int32_t>>(
      counts.opaque, rc::gen::arbitrary<std::int32_t>());
  for (std::size_t i = 0; i < counts.texts; ++i) values.texts.push_back(arbitrary_text());
  return values;
}

inline std::optional<Values> maybe_values(Counts counts) {
  return *rc::gen::arbitrary<bool>() ? std::optional<Values>(arbitrary_values(counts))
                                     : std::nullopt;
}

/** Mostly a few elements, at times as many as can survive; then they repeat themselves. */
template <typename Element, typename Make>
std::vector<Element> arbitrary_list(Make make) {
  const auto length =
      *rc::gen::weightedOneOf<std::size_t>({{6, rc::gen::inRange<std::size_t>(0, 4)},
                                            {1, rc::gen::inRange<std::size_t>(4, 256)},
                                            {1, rc::gen::just<std::size_t>(255)}});
  std::vector<Element> list;
  while (list.size() < length) list.push_back(list.size() < 4 ? make() : list[list.size() - 4]);
  return list;
}

inline MessageValues arbitrary_message() {
  MessageValues values;
  values.own = arbitrary_values(MESSAGE_COUNTS);
  values.addresses = arbitrary_list<Values>([] { return arbitrary_values(ADDRESS_COUNTS); });
  values.contents = arbitrary_list<ContentValues>([] {
    return ContentValues{arbitrary_values(CONTENT_COUNTS), maybe_values(CONTENT_META_COUNTS)};
  });
  values.meta = maybe_values(MESSAGE_META_COUNTS);
  return values;
}

}  // namespace msg_tarvel::wire_test
