#pragma once

// How memory fails in failing_memory_preload.cpp.

namespace msg_tarvel {

struct MemoryFailure {
  /** Whose allocations fail: SQLite's, or those of the program and the library. */
  enum class Of { NOBODY, SQLITE, PROGRAM };
  Of whom;
  /** One allocation, or all from there on. */
  bool isForGood;
};

constexpr MemoryFailure MEMORY_FAILURES[] = {{MemoryFailure::Of::SQLITE, false},
                                             {MemoryFailure::Of::SQLITE, true},
                                             {MemoryFailure::Of::PROGRAM, false},
                                             {MemoryFailure::Of::PROGRAM, true}};

}  // namespace msg_tarvel
