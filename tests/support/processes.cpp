#include "support/processes.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace msg_tarvel {

namespace {

/** What stands before a program of this build in a command; empty where the machine runs it. */
std::vector<std::string>& emulator() {
  static std::vector<std::string> words{TEST_EMULATOR};
  return words;
}

/**
 * The folder with the emulator's libraries may lie below one that another user may not enter; an
 * open descriptor leads there all the same.
 */
void keep_emulator_reachable() {
  for (std::string& word : emulator()) {
    const int folder = open(word.c_str(), O_PATH | O_DIRECTORY);
    if (folder != -1) word = "/proc/self/fd/" + std::to_string(folder);
  }
}

int status_of(pid_t pid, long* kilobytes = nullptr) {
  int status = 0;
  rusage used = {};
  while (wait4(pid, &status, 0, &used) == -1) {
    if (errno != EINTR) return -1;
  }
  if (kilobytes) *kilobytes = used.ru_maxrss;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void require(bool condition, const char* what) {
  if (condition) return;
  std::perror(what);
  std::abort();
}

void set_environment(const std::vector<std::string>& environment) {
  for (const std::string& variable : environment) {
    const std::size_t equals = variable.find('=');
    if (equals == std::string::npos) {
      unsetenv(variable.c_str());
    } else {
      setenv(variable.substr(0, equals).c_str(), variable.c_str() + equals + 1, 1);
    }
  }
}

/** Has a program that a sanitizer reports of end as no program does by itself. */
void tell_reports_from_failures() {
  for (const char* const name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"}) {
    const char* const options = std::getenv(name);
    const std::string exitCode = "exitcode=" + std::to_string(SANITIZER_REPORT);
    setenv(name, (options ? options + (":" + exitCode) : exitCode).c_str(), 1);
  }
}

/** Feeds `input` to `in` and collects `out` and `err` until both are at their end. */
void communicate(int in, int out, int err, const std::string& input, ProcessResult& result) {
  std::size_t written = 0;
  bool outOpen = true;
  bool errOpen = true;
  if (input.empty()) {
    close(in);
    in = -1;
  }
  while (outOpen || errOpen) {
    pollfd ends[] = {
        {in, POLLOUT, 0}, {outOpen ? out : -1, POLLIN, 0}, {errOpen ? err : -1, POLLIN, 0}};
    require(poll(ends, 3, -1) >= 0 || errno == EINTR, "poll");
    if (ends[0].revents != 0) {
      const ssize_t count = write(in, input.data() + written, input.size() - written);
      if (count > 0) written += static_cast<std::size_t>(count);
      if (count <= 0 || written == input.size()) {
        close(in);
        in = -1;
      }
    }
    char buffer[65536];
    if (ends[1].revents != 0) {
      const ssize_t count = read(out, buffer, sizeof buffer);
      if (count > 0) result.out.append(buffer, static_cast<std::size_t>(count));
      outOpen = count > 0;
    }
    if (ends[2].revents != 0) {
      const ssize_t count = read(err, buffer, sizeof buffer);
      if (count > 0) result.err.append(buffer, static_cast<std::size_t>(count));
      errOpen = count > 0;
    }
  }
  if (in != -1) close(in);
}

}  // namespace

std::vector<std::string> runnable(std::vector<std::string> command) {
  if (command.front().find('/') != std::string::npos) {
    command.insert(command.begin(), emulator().begin(), emulator().end());
  }
  return command;
}

void execute(const std::vector<std::string>& command) {
  std::vector<std::string> words = runnable(command);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  tell_reports_from_failures();
  execvp(arguments[0], arguments.data());
  std::perror(arguments[0]);
}

ProcessResult run_program(const std::vector<std::string>& command,
                          const std::vector<std::string>& environment, const std::string& input) {
  int in[2];
  int out[2];
  int err[2];
  require(pipe2(in, O_CLOEXEC) == 0 && pipe2(out, O_CLOEXEC) == 0 && pipe2(err, O_CLOEXEC) == 0,
          "pipe2");
  const pid_t pid = fork();
  require(pid >= 0, "fork");
  if (pid == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    set_environment(environment);
    execute(command);
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  signal(SIGPIPE, SIG_IGN);
  ProcessResult result;
  communicate(in[1], out[0], err[0], input, result);
  close(out[0]);
  close(err[0]);
  result.status = status_of(pid, &result.kilobytes);
  return result;
}

Child::Child(const std::function<int()>& body) : _pid(fork()) {
  require(_pid >= 0, "fork");
  if (_pid == 0) {
    const int status = body();
    std::fflush(nullptr);
    _exit(status);
  }
}

Child::~Child() {
  if (_pid <= 0) return;
  kill(_pid, SIGKILL);
  status_of(_pid);
}

int Child::wait() {
  const int status = status_of(_pid);
  _pid = 0;
  return status;
}

bool become_user(uid_t user, const std::vector<gid_t>& groups) {
  keep_emulator_reachable();
  return setgroups(groups.size(), groups.data()) == 0 && setresgid(user, user, user) == 0 &&
         setresuid(user, user, user) == 0;
}

bool become_nobody(const std::vector<gid_t>& groups) { return become_user(NOBODY, groups); }

bool stranger_gets_in(const std::string& path, const std::function<void()>& action) {
  Signal isWaiting;
  Child stranger([&] {
    const bool isStranger = become_nobody();
    isWaiting.send();
    while (isStranger && open(path.c_str(), O_RDONLY | O_CLOEXEC) == -1) continue;
    return isStranger ? 0 : 1;
  });
  isWaiting.wait();
  action();
  kill(stranger.pid(), SIGTERM);
  const int status = stranger.wait();
  require(status == 0 || status == 128 + SIGTERM, "become another user");
  return status == 0;
}

Signal::Signal() { require(pipe2(_ends, O_CLOEXEC) == 0, "pipe2"); }

Signal::~Signal() {
  close(_ends[0]);
  close(_ends[1]);
}

void Signal::send() { require(write(_ends[1], "!", 1) == 1, "write"); }

void Signal::wait() {
  char byte = 0;
  require(read(_ends[0], &byte, 1) == 1, "read");
}

}  // namespace msg_tarvel
