#include "msg-tarvel-common/item/ListCondition.h"

#include "item/item_suites.h"
#include "msg-tarvel-common/item/FolderType.h"

namespace msg_tarvel::item_test {

static_assert(std::is_same_v<std::underlying_type_t<FolderType>, int>);
static_assert(std::is_convertible_v<FolderType, int>);

INSTANTIATE_TYPED_TEST_SUITE_P(ListCondition, ItemShape, ListCondition);

TEST(ListConditionTest, CopiesAndMovesCarryEachField) {
  const auto make = [] { return sample<ListCondition>(SEED); };

  ListCondition source = make();
  const ListCondition copied(source);
  EXPECT_EQ(differences(copied, make()), "");
  ListCondition assigned;
  assigned = source;
  EXPECT_EQ(differences(assigned, make()), "");
  EXPECT_EQ(differences(source, make()), "");

  const ListCondition moved(std::move(source));
  EXPECT_EQ(differences(moved, make()), "");
  ListCondition moveAssigned;
  moveAssigned = std::move(assigned);
  EXPECT_EQ(differences(moveAssigned, make()), "");
}

TEST(FolderTypeTest, EachFolderHasItsStoredValue) {
  const std::pair<FolderType, int> folders[] = {
      {NO_FOLDER, 0},
      {MAIN_FOLDER_1, 1},
      {MAIN_FOLDER_2, 2},
      {MAIN_FOLDER_3, 3},
      {MAIN_FOLDER_4, 4},
      {MAIN_FOLDER_5, 5},
      {STANDALONE_FOLDER_1, 101},
      {STANDALONE_FOLDER_2, 102},
      {STANDALONE_FOLDER_3, 103},
      {STANDALONE_FOLDER_4, 104},
      {STANDALONE_FOLDER_5, 105},
      {ALL_FOLDERS, 9999},
      {FOLDER_PAIR_1, -2},
      {FOLDER_PAIR_2, -3},
      {FOLDER_PAIR_3, -4},
      {FOLDER_PAIR_4, -5},
      {FOLDER_PAIR_5, -6},
      {ALL_MAIN_FOLDERS, -7},
      {ALL_STANDALONE_FOLDERS, -8},
  };
  for (const auto& [folder, value] : folders) EXPECT_EQ(static_cast<int>(folder), value);
}

}  // namespace msg_tarvel::item_test
