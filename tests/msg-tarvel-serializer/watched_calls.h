#pragma once

// The calls that the library's objects make, watched and made to fail. The linker routes them here
// (--wrap), and only them: GLib's and the sanitizers' own allocations stay as they are.

#include <cstddef>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace msg_tarvel::wire_test {

/** Watches the calls of its lifetime; there is one at a time. */
class WatchedCalls {
 public:
  WatchedCalls();
  WatchedCalls(const WatchedCalls&) = delete;
  WatchedCalls& operator=(const WatchedCalls&) = delete;
  ~WatchedCalls();

  /** Makes the n-th allocation fail, counted from 1. */
  void failAllocation(int n) { _failing = n; }
  /** Called with every allocation, before it is made. */
  void onAllocation(std::function<void()> hook) { _hook = std::move(hook); }

  /** Fills what is allocated with this byte, as memory that was in use before is filled. */
  void fillWith(int byte) { _filling = byte; }
  /** Answers the next allocation with this memory, which nobody may release. */
  void handOut(void* memory) { _handedOut = memory; }

  int allocations() const { return static_cast<int>(_sizes.size()); }
  /** How many bytes each allocation asked for. */
  const std::vector<std::size_t>& sizes() const { return _sizes; }
  int lengthsTaken() const { return _lengthsTaken; }
  /** How many nodes each append had to pass. */
  const std::vector<unsigned int>& appends() const { return _appends; }

  unsigned int nodesReleased() const { return _nodesReleased; }

  // What the wrapped functions report.
  bool allocationFails(std::size_t size);
  void* handedOut() { return std::exchange(_handedOut, nullptr); }
  void allocated(void* memory, std::size_t size) const;
  void lengthTaken() { ++_lengthsTaken; }
  void appended(unsigned int passed) { _appends.push_back(passed); }
  void nodesReleased(unsigned int count) { _nodesReleased += count; }

 private:
  int _failing = 0;
  std::optional<int> _filling;
  void* _handedOut = nullptr;
  int _lengthsTaken = 0;
  unsigned int _nodesReleased = 0;
  std::vector<std::size_t> _sizes;
  std::vector<unsigned int> _appends;
  std::function<void()> _hook;
};

}  // namespace msg_tarvel::wire_test
