#pragma once

#include <msg-tarvel-common/item/Address.h>
#include <msg-tarvel-common/item/Thread.h>

#include <vector>

namespace msg_tarvel::tool {

/**
 * A conversation of the list, with its participants. A moved or copied Thread loses `lastMsgId`,
 * which is therefore read in place.
 */
struct ListedThread {
  Thread thread;
  std::vector<Address> addresses;
};

}  // namespace msg_tarvel::tool
