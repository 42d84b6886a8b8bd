#include "msg-tarvel-common/item/NmsContentMeta.h"

#include "item/item_suites.h"

namespace msg_tarvel::item_test {

static_assert(std::is_move_constructible_v<NmsContentMeta>);
static_assert(!std::is_nothrow_move_constructible_v<NmsContentMeta>);

INSTANTIATE_TYPED_TEST_SUITE_P(NmsContentMeta, ItemShape, NmsContentMeta);
INSTANTIATE_TYPED_TEST_SUITE_P(NmsContentMeta, ItemValue, NmsContentMeta);

}  // namespace msg_tarvel::item_test
