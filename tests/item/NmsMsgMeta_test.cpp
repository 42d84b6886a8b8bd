#include "msg-tarvel-common/item/NmsMsgMeta.h"

#include <limits>

#include "item/item_suites.h"

namespace msg_tarvel::item_test {

static_assert(std::is_move_constructible_v<NmsMsgMeta>);
static_assert(!std::is_nothrow_move_constructible_v<NmsMsgMeta>);

static_assert(NmsMsgMeta::BT_CORRELATION == 0);
static_assert(NmsMsgMeta::MSSI_CORRELATION == 1);
static_assert(NmsMsgMeta::PRIMARY_ID == 0);
static_assert(NmsMsgMeta::SECONDARY_ID == 1);
static_assert(NmsMsgMeta::PRIMARY_OR_SECONDARY_ID == 2);
// Plain enumerations: they convert to int.
static_assert(std::is_convertible_v<NmsMsgMeta::CorrelationType, int>);
static_assert(std::is_convertible_v<NmsMsgMeta::CorrelationIdSearchType, int>);

INSTANTIATE_TYPED_TEST_SUITE_P(NmsMsgMeta, ItemShape, NmsMsgMeta);
INSTANTIATE_TYPED_TEST_SUITE_P(NmsMsgMeta, ItemValue, NmsMsgMeta);

TEST(NmsMsgMetaTest, TimesAndSequenceNumbersKeep64Bits) {
  constexpr int64_t LARGEST = std::numeric_limits<int64_t>::max();
  constexpr int64_t SMALLEST = std::numeric_limits<int64_t>::min();
  NmsMsgMeta meta;
  meta.msgTime = LARGEST;
  meta.lastModSeq = SMALLEST;

  const NmsMsgMeta copy(meta);
  EXPECT_EQ(copy.msgTime, LARGEST);
  EXPECT_EQ(copy.lastModSeq, SMALLEST);

  NmsMsgMeta other;
  swap(meta, other);
  EXPECT_EQ(other.msgTime, LARGEST);
  EXPECT_EQ(other.lastModSeq, SMALLEST);
}

}  // namespace msg_tarvel::item_test
