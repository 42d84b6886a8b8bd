#pragma once

// What holds for the items as a family, written once and run for each class from its test file.

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <utility>

#include "support/item_fields.h"

namespace msg_tarvel::item_test {

// ---- What a class is made of -------------------------------------------------------------------

template <typename Item>
class ItemShape : public ::testing::Test {
  static_assert(!std::is_polymorphic_v<Item>);
};

TYPED_TEST_SUITE_P(ItemShape);

TYPED_TEST_P(ItemShape, DefaultObjectHasTheDefaultOfEachField) {
  const TypeParam item;
  for_each_field<TypeParam>([&](const auto& field) {
    if constexpr (std::decay_t<decltype(field)>::kind != Kind::LEFT_ALONE) {
      EXPECT_TRUE(same(item.*field.member, field.initial)) << field.name;
    }
  });
}

/** Each field stands where the one before it ends, so none is missing from the table. */
TYPED_TEST_P(ItemShape, FieldsStandInDeclarationOrderAndThereAreNoOthers) {
  const TypeParam item;
  const auto aligned = [](std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
  };
  std::size_t end = 0;
  for_each_field<TypeParam>([&](const auto& field) {
    using Value = decltype(field.initial);
    const auto* const start = reinterpret_cast<const char*>(&item);
    const auto* const address = reinterpret_cast<const char*>(&(item.*field.member));
    EXPECT_EQ(static_cast<std::size_t>(address - start), aligned(end, alignof(Value)))
        << field.name;
    end = static_cast<std::size_t>(address - start) + sizeof(Value);
  });
  EXPECT_EQ(sizeof(TypeParam), aligned(end, alignof(TypeParam)));
}

REGISTER_TYPED_TEST_SUITE_P(ItemShape, DefaultObjectHasTheDefaultOfEachField,
                            FieldsStandInDeclarationOrderAndThereAreNoOthers);

// ---- Value semantics ---------------------------------------------------------------------------

template <typename Item>
class ItemValue : public ::testing::Test {
  using ByValueAssignment = Item& (Item::*)(Item);
  // Compiles only when the one assignment takes its argument by value.
  using Assignment = decltype(static_cast<ByValueAssignment>(&Item::operator=));
  static_assert(std::is_same_v<Assignment, ByValueAssignment>);

 protected:
  /**
   * Calls `check` with makers of items: of one with a single field set, for each field in turn, and
   * of one with all set. A maker gives an equal item each time.
   */
  template <typename Check>
  void withEachFieldSet(Check check) {
    for_each_value<Item>([&](const auto& field) {
      const ::testing::ScopedTrace trace(__FILE__, __LINE__, field.name);
      const auto make = [&field] {
        Item item;
        item.*field.member = sample<decltype(field.initial)>(SEED);
        return item;
      };
      EXPECT_EQ(differences(make(), Item()), field.name + " "s);
      check(make);
    });
    const ::testing::ScopedTrace trace(__FILE__, __LINE__, "all fields");
    check([] { return sample<Item>(SEED); });
  }
};

/** Changes every field, and the bytes of a payload in their place. */
template <typename Item>
void overwrite(Item& item) {
  for_each_value<Item>(
      [&](const auto& field) { item.*field.member = sample<decltype(field.initial)>(OTHER_SEED); });
  if constexpr (std::is_same_v<Item, Content>) {
    std::fill_n(item.rawData.get(), item.rawDataSize, static_cast<unsigned char>('#'));
  }
}

TYPED_TEST_SUITE_P(ItemValue);

TYPED_TEST_P(ItemValue, CopyHasEachFieldAndLeavesTheSourceAsItWas) {
  this->withEachFieldSet([](const auto& make) {
    const TypeParam source = make();
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is looked at
    const TypeParam copy(source);
    EXPECT_EQ(differences(copy, make()), "");
    EXPECT_EQ(differences(source, make()), "");
  });
}

TYPED_TEST_P(ItemValue, CopyIsIndependentOfItsSource) {
  this->withEachFieldSet([](const auto& make) {
    const TypeParam source = make();
    TypeParam copy(source);
    overwrite(copy);
    EXPECT_EQ(differences(source, make()), "");
  });
}

TYPED_TEST_P(ItemValue, MoveTakesEachFieldAndLeavesTheDefaults) {
  this->withEachFieldSet([](const auto& make) {
    TypeParam source = make();
    const TypeParam target(std::move(source));
    EXPECT_EQ(differences(target, make()), "");
    // NOLINTNEXTLINE(bugprone-use-after-move): what is left in the source is the point
    EXPECT_EQ(differences(source, TypeParam()), "");
  });
}

TYPED_TEST_P(ItemValue, SwapExchangesEachFieldAndASecondOneRestoresThem) {
  this->withEachFieldSet([](const auto& make) {
    TypeParam a = make();
    auto b = sample<TypeParam>(OTHER_SEED);
    swap(a, b);
    EXPECT_EQ(differences(a, sample<TypeParam>(OTHER_SEED)), "");
    EXPECT_EQ(differences(b, make()), "");
    swap(a, b);
    EXPECT_EQ(differences(a, make()), "");
    EXPECT_EQ(differences(b, sample<TypeParam>(OTHER_SEED)), "");
  });
}

TYPED_TEST_P(ItemValue, AssignmentCopiesEachField) {
  this->withEachFieldSet([](const auto& make) {
    const TypeParam source = make();
    auto target = sample<TypeParam>(OTHER_SEED);
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(differences(target, make()), "");
    EXPECT_EQ(differences(source, make()), "");
    overwrite(target);
    EXPECT_EQ(differences(source, make()), "");
  });
}

TYPED_TEST_P(ItemValue, AssignmentOfAnExpiringItemLeavesItTheDefaults) {
  this->withEachFieldSet([](const auto& make) {
    TypeParam source = make();
    auto target = sample<TypeParam>(OTHER_SEED);
    target = std::move(source);
    EXPECT_EQ(differences(target, make()), "");
    // NOLINTNEXTLINE(bugprone-use-after-move): what is left in the source is the point
    EXPECT_EQ(differences(source, TypeParam()), "");
  });
}

TYPED_TEST_P(ItemValue, AssignmentOrSwapWithItselfChangesNothing) {
  this->withEachFieldSet([](const auto& make) {
    TypeParam item = make();
    TypeParam& itself = item;
    item = itself;
    EXPECT_EQ(differences(item, make()), "") << "copied";
    item = std::move(itself);
    EXPECT_EQ(differences(item, make()), "") << "moved";
    swap(item, itself);
    EXPECT_EQ(differences(item, make()), "") << "swapped";
  });
}

REGISTER_TYPED_TEST_SUITE_P(ItemValue, CopyHasEachFieldAndLeavesTheSourceAsItWas,
                            CopyIsIndependentOfItsSource, MoveTakesEachFieldAndLeavesTheDefaults,
                            SwapExchangesEachFieldAndASecondOneRestoresThem,
                            AssignmentCopiesEachField,
                            AssignmentOfAnExpiringItemLeavesItTheDefaults,
                            AssignmentOrSwapWithItselfChangesNothing);

}  // namespace msg_tarvel::item_test
