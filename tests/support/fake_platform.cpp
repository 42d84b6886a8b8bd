#include "support/fake_platform.h"

#include <app_common.h>
#include <dlog.h>
#include <vconf.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <regex>

#include "support/setting_names.h"

namespace msg_tarvel {

namespace {

/** What vconf_get_int returns, and what it stores. */
struct NumberAnswer {
  int result = 0;
  std::optional<int> value;
};

struct State {
  mutable std::mutex mutex;
  std::vector<LogLine> lines;
  std::function<void(const LogLine&)> hook;
  std::map<std::string, std::string> strings;
  std::map<std::string, NumberAnswer> numbers;
  std::map<std::string, int> reads;
  std::optional<std::string> dataPath;
};

State& state() {
  static auto* const theState = new State;  // outlives every exit hook that may still log
  return *theState;
}

LogLine parse(int priority, const char* tag, const std::string& raw) {
  static const std::regex* const format =
      new std::regex("^([^:]+): ([^(]+)\\(([0-9]+)\\) > (\\x1b\\[0;3[0-9]m)([^]*)\\x1b\\[0;m\\n$");
  LogLine line;
  line.priority = priority;
  line.tag = tag;
  line.raw = raw;
  std::smatch match;
  if (std::regex_match(raw, match, *format)) {
    line.file = match[1];
    line.function = match[2];
    line.line = std::stoi(match[3]);
    line.colour = match[4];
    line.message = match[5];
  }
  return line;
}

}  // namespace

bool operator==(const LogLine& actual, const ExpectedLine& expected) {
  return actual.tag == "MSG_TARVEL" && actual.line > 0 && actual.priority == expected.priority &&
         actual.colour == expected.colour && actual.file == expected.file &&
         actual.function == expected.function && actual.message == expected.message;
}

bool operator==(const ExpectedLine& a, const ExpectedLine& b) {
  return a.priority == b.priority && a.colour == b.colour && a.file == b.file &&
         a.function == b.function && a.message == b.message;
}

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  return out << line.priority << " " << line.tag << " " << line.raw;
}

std::ostream& operator<<(std::ostream& out, const ExpectedLine& line) {
  return out << line.priority << " MSG_TARVEL " << line.file << ": " << line.function << "(*) > "
             << line.colour << line.message;
}

ExpectedLine error_line(const std::string& file, const std::string& function,
                        const std::string& message) {
  return {6, "\033[0;31m", file, function, message};
}

ExpectedLine warn_line(const std::string& file, const std::string& function,
                       const std::string& message) {
  return {5, "\033[0;35m", file, function, message};
}

ExpectedLine info_line(const std::string& file, const std::string& function,
                       const std::string& message) {
  return {4, "\033[0;32m", file, function, message};
}

FakePlatform::FakePlatform() {
  set(MIN_MATCH, 8);
  set(STANDALONE, 0);
  set(COUNTRY, "US");
  set(SALES_CODE, "NONE");
}

FakePlatform& FakePlatform::get() {
  static FakePlatform platform;
  return platform;
}

std::vector<LogLine> FakePlatform::lines() const {
  const std::lock_guard<std::mutex> lock(state().mutex);
  return state().lines;
}

std::vector<LogLine> FakePlatform::problems() const {
  std::vector<LogLine> found;
  for (const LogLine& line : lines()) {
    if (line.priority != DLOG_INFO) found.push_back(line);
  }
  return found;
}

void FakePlatform::clearLines() {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().lines.clear();
}

void FakePlatform::onLog(std::function<void(const LogLine&)> hook) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().hook = std::move(hook);
}

void FakePlatform::set(const std::string& key, const std::string& value) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().strings[key] = value;
}

void FakePlatform::set(const std::string& key, int value) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().numbers[key] = {0, value};
}

void FakePlatform::answer(const std::string& key, int result, std::optional<int> value) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().numbers[key] = {result, value};
}

void FakePlatform::makeUnreadable(const std::string& key) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().strings.erase(key);
  state().numbers.erase(key);
}

int FakePlatform::reads(const std::string& key) const {
  const std::lock_guard<std::mutex> lock(state().mutex);
  const auto found = state().reads.find(key);
  return found == state().reads.end() ? 0 : found->second;
}

void FakePlatform::setDataPath(std::optional<std::string> path) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().dataPath = std::move(path);
}

extern "C" {

int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
  std::va_list arguments;
  va_start(arguments, fmt);
  char* text = nullptr;
  const int length = vasprintf(&text, fmt, arguments);
  va_end(arguments);
  LogLine line = parse(prio, tag, length < 0 ? "" : text);
  if (log_id != LOG_ID_MAIN) line.tag += " (not in the main log)";
  std::free(text);

  std::function<void(const LogLine&)> hook;
  {
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().lines.push_back(line);
    hook = state().hook;
  }
  if (hook) hook(line);
  return length;
}

char* vconf_get_str(const char* in_key) {
  FakePlatform::get();
  const std::lock_guard<std::mutex> lock(state().mutex);
  ++state().reads[in_key];
  const auto found = state().strings.find(in_key);
  return found == state().strings.end() ? nullptr : strdup(found->second.c_str());
}

int vconf_get_int(const char* in_key, int* intval) {
  FakePlatform::get();
  const std::lock_guard<std::mutex> lock(state().mutex);
  ++state().reads[in_key];
  const auto found = state().numbers.find(in_key);
  if (found == state().numbers.end()) return FakePlatform::UNREADABLE;
  const auto& [result, value] = found->second;
  if (value) *intval = *value;
  return result;
}

char* app_get_data_path(void) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  return state().dataPath ? strdup(state().dataPath->c_str()) : nullptr;
}

}  // extern "C"

}  // namespace msg_tarvel
