#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace msg_tarvel::wire_test {

/** Memory behind which nothing may be read: the first byte after it ends the process. */
class GuardedMemory {
 public:
  /** Room for up to `capacity` bytes. */
  explicit GuardedMemory(std::size_t capacity)
      : _page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
        _room((capacity / _page + 1) * _page),
        _base(static_cast<char*>(mmap(nullptr, _room + _page, PROT_READ | PROT_WRITE,
                                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {
    EXPECT_NE(static_cast<void*>(_base), MAP_FAILED);
    EXPECT_EQ(mprotect(_base + _room, _page, PROT_NONE), 0);
  }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;
  ~GuardedMemory() { munmap(_base, _room + _page); }

  /** The last `size` bytes before the guard. */
  char* last(std::size_t size) { return _base + _room - size; }

  /** A copy of `bytes` right before the guard. */
  const char* hold(const std::string& bytes) {
    return static_cast<const char*>(std::memcpy(last(bytes.size()), bytes.data(), bytes.size()));
  }

 private:
  std::size_t _page;
  std::size_t _room;
  char* _base;
};

}  // namespace msg_tarvel::wire_test
