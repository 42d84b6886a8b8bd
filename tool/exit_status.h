#pragma once

namespace msg_tarvel::tool {

// The exit statuses of msg-tarvel.

/** Found, or done. */
constexpr int FOUND = 0;
constexpr int NOTHING_FOUND = 1;
/** The command line makes no sense. */
constexpr int USAGE_ERROR = 2;
/** The store, a file or memory failed. */
constexpr int FAILED = 3;
/** Plus the number of the signal that ended an import. */
constexpr int INTERRUPTED = 128;

}  // namespace msg_tarvel::tool
