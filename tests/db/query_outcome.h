#pragma once

// What a caller and a reader of the log see of a query, for comparing the ways to it.

#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "db/fast_queries.h"
#include "support/fake_platform.h"
#include "support/item_fields.h"

namespace msg_tarvel {

/** While it lives, every query takes the defined way. */
class DefinedWay {
 public:
  DefinedWay() { db::fastQueriesAreOn = false; }
  DefinedWay(const DefinedWay&) = delete;
  DefinedWay& operator=(const DefinedWay&) = delete;
  ~DefinedWay() { db::fastQueriesAreOn = true; }
};

/** What a query gave. */
struct Outcome {
  int result = 0;
  /** What the list held already. */
  std::string before;
  std::string items;
  std::string lines;

  bool operator==(const Outcome& other) const {
    return result == other.result && items == other.items && lines == other.lines;
  }
  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.result << "\n" << outcome.items << "\n" << outcome.lines;
  }
};

/** All that `value` holds, for comparing and showing. */
template <typename Value>
std::string written(const Value& value) {
  if constexpr (item_test::IS_ITEM<Value>) {
    std::string all;
    item_test::for_each_value<Value>([&](const auto& field) {
      all += std::string(field.name) + "=" + written(value.*field.member) + " ";
    });
    return all;
  } else if constexpr (item_test::IS_VECTOR<Value>) {
    std::string all;
    for (const auto& element : value) all += "[" + written(element) + "]";
    return all;
  } else if constexpr (std::is_same_v<Value, std::string>) {
    return value;
  } else {
    return std::to_string(value);
  }
}

/** A message, as `written`, without its metadata, which is the last of it. */
inline std::string without_metadata(const std::string& message) {
  const std::string name = "nmsMsgMeta=";
  const std::size_t place = message.find(name);
  if (place == std::string::npos) return message;
  return message.substr(0, place + name.size()) + written(NmsMsgMeta()) + " ";
}

/**
 * The items of `outcome`. A message is given without its metadata rather than not at all, with a
 * warning for each: such a one appears here with the metadata that it has in `whole`.
 */
inline std::string items_with_metadata(const Outcome& outcome, const Outcome& whole) {
  const std::string warning = "db_get_nms_msg_meta() failed: (";
  std::size_t line = outcome.lines.find(warning);
  std::istringstream items(outcome.items);
  std::istringstream wholeItems(whole.items);
  std::string all;
  for (std::string item, wholeItem; std::getline(items, item);) {
    std::getline(wholeItems, wholeItem);
    if (line != std::string::npos && item != wholeItem && item == without_metadata(wholeItem)) {
      item = wholeItem;
      line = outcome.lines.find(warning, line + 1);
    }
    all += item + "\n";
  }
  return all;
}

/** Makes the call of a query, and nothing around it; a test may let something fail in it. */
inline std::function<int(const std::function<int()>&)> makeCall = [](const auto& call) {
  return call();
};

/** Runs `query` with `items`. */
template <typename Item>
Outcome outcome_with(std::vector<Item> items, const std::function<int(std::vector<Item>&)>& query) {
  Outcome outcome;
  for (const Item& item : items) outcome.before += written(item) + "\n";
  FakePlatform::get().clearLines();
  outcome.result = makeCall([&] { return query(items); });
  for (const Item& item : items) outcome.items += written(item) + "\n";
  for (const LogLine& line : FakePlatform::get().lines()) outcome.lines += line.raw;
  return outcome;
}

/** Runs `query` with a list that holds `before` elements already. */
template <typename Item>
Outcome list_outcome(std::size_t before, const std::function<int(std::vector<Item>&)>& query) {
  return outcome_with(std::vector<Item>(before, item_test::sample<Item>(item_test::SEED)), query);
}

template <typename Item>
Outcome item_outcome(const std::function<int(Item&)>& query) {
  return outcome_with<Item>(std::vector<Item>(1),
                            [&](std::vector<Item>& items) { return query(items.front()); });
}

/** Asks in the fast or in the defined way. */
inline Outcome ask(const std::function<Outcome()>& query, bool isFast) {
  if (isFast) return query();
  const DefinedWay way;
  return query();
}

}  // namespace msg_tarvel
