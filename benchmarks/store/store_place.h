#pragma once

#include <string>

namespace msg_tarvel::bench {

/**
 * Makes the library of this process use the store in `folder`, on a device that reads metadata
 * with its messages, so that a list has everything that a list can have. To be called first.
 */
void use_store_in(const std::string& folder);

}  // namespace msg_tarvel::bench
