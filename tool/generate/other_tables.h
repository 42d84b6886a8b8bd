#pragma once

#include "generate/chance.h"

namespace msg_tarvel::tool {

/**
 * Fills what goes with messages but is no message: SIM cards, file transfers, deleted messages, the
 * subscription, logs. Within a transaction of the caller's; throws StoreError.
 */
void fill_other_tables(Chance& chance);

}  // namespace msg_tarvel::tool
