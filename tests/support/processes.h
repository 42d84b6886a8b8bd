#pragma once

// Other processes and users, for what one process cannot show.

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace msg_tarvel {

/** A user, and a group of the same number, to whom nothing belongs. */
constexpr uid_t NOBODY = 65534;

/** The exit status of a program that a sanitizer reports of; none of its own is so high. */
constexpr int SANITIZER_REPORT = 99;

/** How a process ended and what it printed. */
struct ProcessResult {
  /** The exit status, or 128 + the signal that ended it. */
  int status = -1;
  std::string out;
  std::string err;
  /** The most memory that it, or a program that it waited for, had in use. */
  long kilobytes = 0;
};

/**
 * `command` as this machine runs it. A program of this build has a path and goes through the
 * emulator where there is one; a bare name is a program of the machine.
 */
std::vector<std::string> runnable(std::vector<std::string> command);

/** Replaces this process by a program that `runnable` takes; returns only when that fails. */
void execute(const std::vector<std::string>& command);

/**
 * Runs a program to its end, with `environment` ("NAME=value"; "NAME" unsets it) on top of this
 * process's own and `input` as its standard input.
 */
ProcessResult run_program(const std::vector<std::string>& command,
                          const std::vector<std::string>& environment = {},
                          const std::string& input = "");

/**
 * A forked child that runs `body` and exits with what it returns. The child must not use a
 * connection that the parent opened. The destructor kills a child that is still there.
 */
class Child {
 public:
  explicit Child(const std::function<int()>& body);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  /** Waits for the child; its exit status, or 128 + the signal that ended it. */
  int wait();
  pid_t pid() const { return _pid; }

 private:
  pid_t _pid;
};

/**
 * Gives up root for good: user and group `user`, and `groups`. False when this is not allowed.
 * Programs of the build that stand where that user may go still run.
 */
bool become_user(uid_t user, const std::vector<gid_t>& groups = {});
/** The same with user 65534. */
bool become_nobody(const std::vector<gid_t>& groups = {});

/**
 * Whether another user gets in who waits for the file `path` while `action` runs: he opens it to
 * read as soon as he can.
 */
bool stranger_gets_in(const std::string& path, const std::function<void()>& action);

/** One end signals, the other waits: for keeping a parent and its child in step. */
class Signal {
 public:
  Signal();
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;
  ~Signal();

  void send();
  void wait();

 private:
  int _ends[2] = {-1, -1};
};

}  // namespace msg_tarvel
