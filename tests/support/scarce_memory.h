#pragma once

// Memory that runs out when a test wants it to. The program's allocation functions are replaced by
// ones that can fail; the library's calls land in them too.

#include <cstddef>

namespace msg_tarvel::item_test {

/** While it lives, every non-throwing array `new` gives null. */
class NoMemoryForPayloads {
 public:
  NoMemoryForPayloads();
  NoMemoryForPayloads(const NoMemoryForPayloads&) = delete;
  NoMemoryForPayloads& operator=(const NoMemoryForPayloads&) = delete;
  ~NoMemoryForPayloads();

  /** How often it gave null. */
  int refusals() const;
};

/** While it lives, the first `allocations` calls of plain `new` succeed and the rest throw. */
class MemoryForAllocations {
 public:
  explicit MemoryForAllocations(int allocations);
  MemoryForAllocations(const MemoryForAllocations&) = delete;
  MemoryForAllocations& operator=(const MemoryForAllocations&) = delete;
  ~MemoryForAllocations();
};

/** Blocks of plain `new` that have not been deleted yet. */
long live_blocks();

}  // namespace msg_tarvel::item_test
