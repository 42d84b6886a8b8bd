#pragma once

// Memory that ends when a test wants it to. The linker routes what the library's objects ask of the
// C library here (--wrap), and with scarce_memory.cpp what they ask of `new`; SQLite asks here by
// its own hooks. What stands in for the platform always gets its memory.

#include <iosfwd>

namespace msg_tarvel {

class FailingMemory {
 public:
  /** Whose allocations fail: SQLite's, or the program's own. */
  enum class Of { SQLITE, PROGRAM };

  /** One allocation, or all from there on. */
  struct Failure {
    Of whom;
    int number;
    bool isForGood;
  };

  /** Has SQLite get its memory here, all of it. Before the first use of SQLite. */
  static void install();

  /** From here on the allocation of this number, from 1, fails. */
  static void fail(Failure failure);
  /** From here on nothing fails; whether anything did. */
  static bool mend();
  /** How many allocations there were between the last two of these, in which none failed. */
  static int seen();

  /** How many blocks SQLite has got and not given back. */
  static long blocksOfSqlite();
};

std::ostream& operator<<(std::ostream& out, FailingMemory::Failure failure);

}  // namespace msg_tarvel
