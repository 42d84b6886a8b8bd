#pragma once

namespace msg_tarvel::helpers {

/** What has become of a message in the network, as its column networkStatus says. */
enum NetworkStatus : int {
  NETWORK_SENDING = 1,
  NETWORK_SENT = 2,
  NETWORK_FAILED = 3,
  /** Received, or a draft. */
  NETWORK_NONE = 16,
};

}  // namespace msg_tarvel::helpers
