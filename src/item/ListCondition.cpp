#include "msg-tarvel-common/item/ListCondition.h"

namespace msg_tarvel {

ListCondition::ListCondition() = default;

ListCondition::ListCondition(const ListCondition& other) = default;

ListCondition::ListCondition(ListCondition&& other) noexcept = default;

ListCondition::~ListCondition() = default;

ListCondition& ListCondition::operator=(const ListCondition& other) = default;

ListCondition& ListCondition::operator=(ListCondition&& other) noexcept = default;

}  // namespace msg_tarvel
