#pragma once

// The calls that the library's objects make, watched and made to fail. The linker routes them here
// (--wrap), and only them: GLib's and the sanitizers' own allocations stay as they are.

#include <cstddef>
#include <functional>
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

  int allocations() const { return static_cast<int>(_sizes.size()); }
  /** How many bytes each allocation asked for. */
  const std::vector<std::size_t>& sizes() const { return _sizes; }
  int lengthsTaken() const { return _lengthsTaken; }
  /** How many nodes each append had to pass. */
  const std::vector<unsigned int>& appends() const { return _appends; }

  // What the wrapped functions report.
  bool allocationFails(std::size_t size);
  void lengthTaken() { ++_lengthsTaken; }
  void appended(unsigned int passed) { _appends.push_back(passed); }

 private:
  int _failing = 0;
  int _lengthsTaken = 0;
  std::vector<std::size_t> _sizes;
  std::vector<unsigned int> _appends;
  std::function<void()> _hook;
};

}  // namespace msg_tarvel::wire_test
