#pragma once

// What the library asks of the system by itself. Linked into a test program, the functions of
// library_calls.cpp stand in front of the system's: they record the calls that come straight from
// the library, not those of SQLite beneath it, and pass on all.

#include <functional>
#include <string>
#include <vector>

namespace msg_tarvel {

class LibraryCalls {
 public:
  /**
   * The calls on files and directories so far, as "mkdir PATH 0755", "open PATH 0100 0644",
   * "access PATH 0", "fchmod PATH 0660", "fchown PATH 0 5000" and "close PATH".
   */
  static std::vector<std::string> onFiles();

  /** How many functions the library has registered to run at exit. */
  static int exitHooks();

  /** How many locks the calling thread has taken in the library. */
  static int locks();
  /** Runs `action` once, before the calling thread next takes a lock in the library. */
  static void onNextLock(std::function<void()> action);
};

}  // namespace msg_tarvel
