#pragma once

// A disk that fails when a test wants it to: SQLite's file system in a test program, over the real
// one.

#include <iosfwd>

namespace msg_tarvel {

class FailingDisk {
 public:
  enum class Kind { IO_ERROR, FULL, READ_ONLY, BUSY, CANNOT_OPEN };

  /** Every kind of failure, for one operation and for all from there on. */
  struct Failure {
    Kind kind;
    bool isForGood;
  };
  static constexpr Failure FAILURES[] = {
      {Kind::IO_ERROR, false},    {Kind::IO_ERROR, true},   {Kind::FULL, false}, {Kind::FULL, true},
      {Kind::READ_ONLY, false},   {Kind::READ_ONLY, true},  {Kind::BUSY, false}, {Kind::BUSY, true},
      {Kind::CANNOT_OPEN, false}, {Kind::CANNOT_OPEN, true}};

  /** Has SQLite open its files here. Before the first connection. */
  static void install();

  /**
   * From here on operation `number` fails, from 1, of those that can fail so: what opens, looks
   * for, measures, reads, writes, cuts, syncs, locks, unlocks and deletes a file.
   */
  static void fail(int number, Failure failure);
  /** Called when something fails for the first time. */
  static void onFirstFailure(void (*action)());
  /** From here on nothing fails; whether anything did. */
  static bool mend();

  /** How many operations that can fail so there were before the one that did. */
  static int seen();
};

std::ostream& operator<<(std::ostream& out, FailingDisk::Failure failure);

}  // namespace msg_tarvel
