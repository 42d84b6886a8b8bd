#include "msg-tarvel-common/item/Address.h"

#include "item/item_suites.h"

namespace msg_tarvel::item_test {

static_assert(std::is_nothrow_move_constructible_v<Address>);

INSTANTIATE_TYPED_TEST_SUITE_P(Address, ItemShape, Address);
INSTANTIATE_TYPED_TEST_SUITE_P(Address, ItemValue, Address);

}  // namespace msg_tarvel::item_test
