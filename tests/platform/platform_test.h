#pragma once

// Fixtures for tests of the host platform library. It remembers the user's directories for the life
// of the process, so a test sets the environment before its first call and only once.

#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "support/processes.h"

namespace msg_tarvel::platform_test {

/** An empty folder, and an environment that leads nowhere else. */
class PlatformTest : public ::testing::Test {
 protected:
  PlatformTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "platform-XXXXXX").string();
    _folder = mkdtemp(pattern.data());
    for (const char* variable : {"MSG_TARVEL_SETTINGS", "MSG_TARVEL_DATA_DIR", "G_MESSAGES_DEBUG",
                                 "G_MESSAGES_PREFIXED", "G_DEBUG"}) {
      unsetenv(variable);
    }
    for (const char* variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
      setEnvironment(variable, _folder);
    }
  }
  ~PlatformTest() override { std::filesystem::remove_all(_folder); }

  static void setEnvironment(const std::string& variable, const std::string& value) {
    setenv(variable.c_str(), value.c_str(), 1);
  }

  /** Without a slash at the end. */
  const std::string& folder() const { return _folder; }

 private:
  std::string _folder;
};

/** Runs platform-program; `environment` as for run_program. */
inline ProcessResult run_platform(const std::vector<std::string>& arguments,
                                  const std::vector<std::string>& environment = {}) {
  std::vector<std::string> command = {PLATFORM_PROGRAM};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return run_program(command, environment);
}

/** What `body` writes to standard error. */
inline std::string standard_error_of(const std::function<void()>& body) {
  std::FILE* const file = std::tmpfile();
  const int before = dup(STDERR_FILENO);
  dup2(fileno(file), STDERR_FILENO);
  body();
  std::fflush(stderr);
  dup2(before, STDERR_FILENO);
  close(before);

  std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  std::fclose(file);
  return text;
}

/** Level and message of each line of the log. */
using Log = std::vector<std::pair<std::string, std::string>>;

/**
 * Takes standard error apart into the lines that GLib lays out: tag, level, time, message and one
 * newline, after an empty line and the process's name when it is urgent. Anything else gives a line
 * of level "?".
 */
inline Log log_in(const std::string& text) {
  static const std::regex head(
      R"((?:\n?\([^)\n]*:\d+\): )?MSG_TARVEL-(\w+)(?: \*\*)?: \d\d:\d\d:\d\d\.\d+: )");
  Log log;
  std::string rest = text;
  std::smatch match;
  while (std::regex_search(rest, match, head, std::regex_constants::match_continuous)) {
    const std::string level = match[1];
    const std::string message = match.suffix();
    const std::size_t end = message.find('\n');
    if (end == std::string::npos) break;
    log.emplace_back(level, message.substr(0, end));
    rest = message.substr(end + 1);
  }
  if (!rest.empty()) log.emplace_back("?", rest);
  return log;
}

/** The home directory that the system knows for the user, whatever $HOME says. */
inline std::string home_of_user() { return getpwuid(getuid())->pw_dir; }

}  // namespace msg_tarvel::platform_test
