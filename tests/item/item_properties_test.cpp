// Copy, move and swap of items with arbitrary field values.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "support/item_fields.h"

namespace msg_tarvel::item_test {

/** A value from RapidCheck; vectors have up to three elements, and about half the contents raw
 * data. */
template <typename Value>
Value arbitrary() {
  if constexpr (IS_ITEM<Value>) {
    Value item;
    for_each_value<Value>(
        [&](const auto& field) { item.*field.member = arbitrary<decltype(field.initial)>(); });
    if constexpr (std::is_same_v<Value, Content>) {
      const auto bytes = *rc::gen::maybe(rc::gen::arbitrary<std::string>());
      if (bytes) set_payload(item, "payload" + *bytes);
    }
    return item;
  } else if constexpr (IS_VECTOR<Value>) {
    Value values(*rc::gen::inRange<std::size_t>(0, 4));
    for (auto& value : values) value = arbitrary<typename Value::value_type>();
    return values;
  } else {
    return *rc::gen::arbitrary<Value>();
  }
}

/** Two items built field by field from the same values, without copying one from the other. */
template <typename Item>
std::pair<Item, Item> arbitrary_twins() {
  std::pair<Item, Item> twins;
  for_each_value<Item>([&](const auto& field) {
    const auto value = arbitrary<decltype(field.initial)>();
    twins.first.*field.member = value;
    twins.second.*field.member = value;
  });
  if constexpr (std::is_same_v<Item, Content>) {
    const auto bytes = "payload" + arbitrary<std::string>();
    set_payload(twins.first, bytes);
    set_payload(twins.second, bytes);
  }
  return twins;
}

template <typename Item>
class ItemProperties : public ::testing::Test {};

using Items = ::testing::Types<Address, SimInfo, NmsMsgMeta, NmsContentMeta, Content, Message,
                               Conversation, Thread>;
TYPED_TEST_SUITE(ItemProperties, Items, );

TYPED_TEST(ItemProperties, CopyIsEqualAndIndependent) {
  EXPECT_TRUE(rc::check([] {
    auto [source, twin] = arbitrary_twins<TypeParam>();
    TypeParam copy(source);
    RC_ASSERT(differences(copy, twin) == "");
    copy = arbitrary<TypeParam>();
    RC_ASSERT(differences(source, twin) == "");
    source = arbitrary<TypeParam>();
    const TypeParam secondCopy(source);
    RC_ASSERT(differences(secondCopy, source) == "");
  }));
}

TYPED_TEST(ItemProperties, MoveLeavesTheDefaults) {
  EXPECT_TRUE(rc::check([] {
    auto [source, twin] = arbitrary_twins<TypeParam>();
    const TypeParam target(std::move(source));
    RC_ASSERT(differences(target, twin) == "");
    // NOLINTNEXTLINE(bugprone-use-after-move): what is left in the source is the point
    RC_ASSERT(differences(source, TypeParam()) == "");
  }));
}

TYPED_TEST(ItemProperties, AssignmentReplacesWhateverWasThere) {
  EXPECT_TRUE(rc::check([] {
    const auto [source, twin] = arbitrary_twins<TypeParam>();
    auto target = arbitrary<TypeParam>();
    target = source;
    RC_ASSERT(differences(target, twin) == "");
    RC_ASSERT(differences(source, twin) == "");
  }));
}

TYPED_TEST(ItemProperties, SwapExchangesAndTwiceRestores) {
  EXPECT_TRUE(rc::check([] {
    auto [a, twinOfA] = arbitrary_twins<TypeParam>();
    auto [b, twinOfB] = arbitrary_twins<TypeParam>();
    swap(a, b);
    RC_ASSERT(differences(a, twinOfB) == "");
    RC_ASSERT(differences(b, twinOfA) == "");
    swap(a, b);
    RC_ASSERT(differences(a, twinOfA) == "");
    RC_ASSERT(differences(b, twinOfB) == "");
  }));
}

}  // namespace msg_tarvel::item_test
