#include "store/private_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "exit_status.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

// SIGBUS: somebody made the store shorter while it was read, which no user of SQLite does.
constexpr int ENDING_SIGNALS[] = {SIGHUP, SIGINT, SIGTERM, SIGBUS};

/** What a signal's handler removes: it may neither allocate nor read a string. */
struct {
  std::string directory;
  std::string dbspace;
  std::string database;
  std::string journal;
  std::string log;
  const char* directoryPath = nullptr;
  const char* dbspacePath = nullptr;
  const char* databasePath = nullptr;
  const char* journalPath = nullptr;
  const char* logPath = nullptr;
} leftOver;

void remove_all() {
  if (!leftOver.directoryPath) return;
  unlink(leftOver.logPath);
  unlink(leftOver.journalPath);
  unlink(leftOver.databasePath);
  rmdir(leftOver.dbspacePath);
  rmdir(leftOver.directoryPath);
  leftOver.directoryPath = nullptr;
}

void remove_and_end(int signal) {
  const int error = errno;
  remove_all();
  errno = error;
  raise(signal);  // by its default action, which comes when this handler is left
}

/** Where nobody has other plans for the signal. */
void handle(int signal, void (*handler)(int), void (*replaced)(int)) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  if (action.sa_handler != replaced) return;
  action = {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(signal, &action, nullptr);
}

std::string temporary_directory() {
  const char* const chosen = std::getenv("TMPDIR");
  return chosen && *chosen ? chosen : "/tmp";
}

/** Another time with a name of the same length it needs no memory. */
void name_left_over(const std::string& directory) {
  leftOver.directory = directory;
  leftOver.dbspace.assign(directory).append(DATABASE_DIRECTORY);
  leftOver.database.assign(directory).append(DATABASE_FILE);
  leftOver.journal.assign(leftOver.database).append(JOURNAL_ENDING);
  leftOver.log.assign(leftOver.database).append(LOG_ENDING);
}

void expect_left_over(const std::string& directory) {
  name_left_over(directory);
  leftOver.dbspacePath = leftOver.dbspace.c_str();
  leftOver.databasePath = leftOver.database.c_str();
  leftOver.journalPath = leftOver.journal.c_str();
  leftOver.logPath = leftOver.log.c_str();
  leftOver.directoryPath = leftOver.directory.c_str();
  for (const int signal : ENDING_SIGNALS) handle(signal, &remove_and_end, SIG_DFL);
}

}  // namespace

PrivateDirectory::PrivateDirectory() {
  std::string name = temporary_directory() + "/msg-tarvel-XXXXXX";
  _path = name + "/";
  name_left_over(_path);
  if (!mkdtemp(name.data())) {
    throw Failure("cannot make a directory " + name + ": " + std::strerror(errno));
  }
  _path.assign(name).append("/");
  expect_left_over(_path);
  if (mkdir(leftOver.dbspacePath, S_IRWXU) != 0) {
    const int error = errno;
    remove();
    throw Failure("cannot make a directory in " + name + ": " + std::strerror(error));
  }
}

void remove_private_directory() { remove_all(); }

std::string PrivateDirectory::database() const { return _path + DATABASE_FILE; }

std::string PrivateDirectory::journal() const { return database() + JOURNAL_ENDING; }

std::string PrivateDirectory::log() const { return database() + LOG_ENDING; }

void PrivateDirectory::remove() {
  remove_all();
  for (const int signal : ENDING_SIGNALS) handle(signal, SIG_DFL, &remove_and_end);
}

}  // namespace msg_tarvel::tool
