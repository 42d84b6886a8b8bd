#include "msg-tarvel-common/item/SimInfo.h"

#include "item/item_suites.h"

namespace msg_tarvel::item_test {

static_assert(std::is_move_constructible_v<SimInfo>);
static_assert(!std::is_nothrow_move_constructible_v<SimInfo>);

INSTANTIATE_TYPED_TEST_SUITE_P(SimInfo, ItemShape, SimInfo);
INSTANTIATE_TYPED_TEST_SUITE_P(SimInfo, ItemValue, SimInfo);

}  // namespace msg_tarvel::item_test
