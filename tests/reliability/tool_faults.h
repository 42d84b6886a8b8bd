#pragma once

// Whole programs, the tool and the example of an owner, under everything that fails once and from
// some moment on for good: they end with what they say, all or nothing of it is done, and the next
// run without the failure does the rest.

#include <functional>
#include <string>
#include <vector>

#include "support/processes.h"
#include "tool/tool_support.h"

namespace msg_tarvel {

using Environment = std::vector<std::string>;

/** What stands in front of a program (LD_PRELOAD) and fails. */
struct FaultSource {
  std::string library;
  /** Of the environment: which failure, at which number, and the file to report in. */
  std::string variable;
  struct Failure {
    std::string name;
    /** One of them is in the line of a command that it ends. */
    std::vector<std::string> words;
    /** Whether some numbers of it make every program fail. */
    bool isEnding = true;
    /** Of so many numbers a whole run tries one. */
    int step = 1;
  };
  std::vector<Failure> failures;
};

class ToolFaults : public ToolTest {
 protected:
  explicit ToolFaults(FaultSource source) : _source(std::move(source)) {}

  /** The store that every run begins with; `change` makes it what it is. */
  void beginWith(const std::function<void()>& change);
  /** Puts the store back to its beginning. */
  void begin() const;

  using Run = std::function<void(const Environment&)>;

  /**
   * Calls `runFailing` with the environment in which something fails, for the numbers that `count`,
   * a run of the program, shows; for `points` of each failure where the run is not whole. Of what
   * `start` shows, where the program does not get to its work, few are tried.
   */
  void failEverything(const std::string& what, int points, const Run& start, const Run& count,
                      const Run& runFailing);

  /** The tool as far as to its work. */
  Run start() const;

  /** The environment with the source in front, which fails where `faulty` says so. */
  Environment withSource(const Environment& faulty) const;
  /** Without waiting for a real disk. */
  ProcessResult run(const std::vector<std::string>& arguments,
                    const Environment& faulty = {}) const;

  /** Makes the failure of that place the one that is meant from here on. */
  void choose(std::size_t failure) { _failure = failure; }
  /** The environment in which that failure comes at that number, in a store as it begins. */
  Environment beginFailing(int at) const;
  /** How many numbers `run` shows. */
  int numbersOf(const Run& run) const;
  bool hasFailed() const;
  void countFailed(bool isUnknown);
  int unknown() const { return _unknown; }

  /** All rows, tables and indexes, and the pictures; or that there is no store. */
  std::string state() const;
  /** Every file in the data directory. */
  std::string files() const;
  /** Whether they are, byte by byte, what the run began with: the next is as the first one. */
  bool isUntouched() const;
  /** Nothing damaged, for another connection, which undoes what a process left half done. */
  void expectWhole() const;
  /** That the run ended with one line that tells of the failure. */
  void expectSaid(const ProcessResult& result) const;

 private:
  const FaultSource _source;
  const std::string _beginning = folder() + "/beginning";
  const std::string _report = folder() + "/failed";
  std::size_t _failure = 0;
  int _failed = 0;
  int _unknown = 0;
};

/** A command that does all or nothing in one transaction. */
class FaultsOfTransactions : public ToolFaults {
 protected:
  using ToolFaults::ToolFaults;

  /** A store with two messages of text and one with a picture, which an import makes of this. */
  static std::string messages();
  /** What a repair has to do with such a store. */
  void damage() const;

  void failCommand(const std::vector<std::string>& command, int points);
  /**
   * Of a command that was tried so, the first numbers behind its commit: that is found with the
   * failure `forGood`, `once` is what comes then.
   */
  void failBehindCommit(const std::vector<std::string>& command, std::size_t forGood,
                        std::size_t once);

 private:
  void tryCommand(const std::vector<std::string>& command, const Environment& faulty);
  void expectOutcome(const std::string& command, const ProcessResult& result);

  std::string _before;
  std::string _filesBefore;
  std::string _after;
};

/** The command that makes a store. */
class FaultsOfMaking : public ToolFaults {
 protected:
  using ToolFaults::ToolFaults;

  void makeHalf() const;
  void failCreate(int points);
};

/** The example of an owner. */
class FaultsOfTheOwner : public ToolFaults {
 protected:
  using ToolFaults::ToolFaults;

  ProcessResult own(const Environment& faulty = {}) const;
  /** Of owners that begin with a store of `before` messages of each of theirs. */
  void failOwner(const std::string& what, int before, int points);

 private:
  int count(const std::string& text) const;
  bool isTold(const ProcessResult& result, const std::string& told, const std::string& text,
              int before);

  bool _isFailureTold = false;
};

}  // namespace msg_tarvel
