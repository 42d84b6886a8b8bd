#pragma once

// Memory that runs out when a test wants it to. The program's allocation functions are replaced by
// ones that can fail; the library's calls land in them too.

#include <cstddef>
#include <functional>

namespace msg_tarvel {

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

/** While it lives, call number `number` of plain `new` (from 1) throws and the rest succeed. */
class OneRefusedAllocation {
 public:
  explicit OneRefusedAllocation(int number);
  OneRefusedAllocation(const OneRefusedAllocation&) = delete;
  OneRefusedAllocation& operator=(const OneRefusedAllocation&) = delete;
  ~OneRefusedAllocation();

  /** Whether that call came. */
  bool hasCome() const;
};

/** While it lives, `action` is called before every non-throwing array `new`. */
class OnPayloadAllocation {
 public:
  explicit OnPayloadAllocation(std::function<void()> action);
  OnPayloadAllocation(const OnPayloadAllocation&) = delete;
  OnPayloadAllocation& operator=(const OnPayloadAllocation&) = delete;
  ~OnPayloadAllocation();
};

/** Blocks of plain `new` that have not been deleted yet. */
long live_blocks();

/** Whether those of array `new` are among them; a sanitizer keeps them to itself. */
#ifdef TEST_OF_INSTRUMENTED
constexpr bool ARRAYS_ARE_COUNTED = false;
#else
constexpr bool ARRAYS_ARE_COUNTED = true;
#endif

}  // namespace msg_tarvel
