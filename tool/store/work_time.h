#pragma once

// How much of the processor's time statements may take in the life of this program. One operation
// of theirs may be of any length, and SQLite looks up between two of them alone: with one, whoever
// made a store could keep a command for hours.

namespace msg_tarvel::tool {

/**
 * Begins to count, anew where that was done before. A second after the time is up the program ends,
 * whatever it is at, with a line on standard error and the status of a failure.
 */
void limit_work_time();

/** As much as commands can need that look at a store with so many bytes. Never takes back. */
void allow_work_time_for(long long bytes);

/** For work that is as long as what is written: from now on each statement brings its time. */
void allow_work_time_for_each_statement();

// What is told of statements. The time counts from the beginning of one until one ends.
void begin_work();
void note_statement();
void end_work();

bool is_work_time_up();

/**
 * How many times as long as where the times were chosen a processor takes that spends so long on
 * what is measured; no less than once and no more than 20 times.
 */
int slowness_of(long long nanoseconds);

/** A step of a statement that waits while something else is done with its row. */
class Step {
 public:
  Step() { begin_work(); }
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;
  ~Step() { end_work(); }
};

}  // namespace msg_tarvel::tool
