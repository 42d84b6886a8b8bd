#include "filter/time_words.h"

#include <cstdlib>
#include <ctime>
#include <optional>

#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

constexpr long long MILLISECONDS = 1000;
constexpr std::size_t DIGITS_OF_A_STORED_TIME = 10;
constexpr std::size_t DIGITS_OF_A_TIME = 18;

std::tm local(long long seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts = {};
  localtime_r(&time, &parts);
  return parts;
}

/** Days are not all of the same length. */
long long start_of_day(std::tm day, int daysLater) {
  day.tm_hour = day.tm_min = day.tm_sec = 0;
  day.tm_mday += daysLater;
  day.tm_isdst = -1;
  return std::mktime(&day);
}

TimeSpan day_span(const std::tm& day, int daysLater = 0) {
  return {start_of_day(day, daysLater) * MILLISECONDS,
          start_of_day(day, daysLater + 1) * MILLISECONDS};
}

bool is_all_digits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/** `words` in whole as strptime takes it, if a calendar has that time. */
std::optional<std::tm> parsed(const std::string& words, const char* format) {
  std::tm parts = {};
  const char* const end = strptime(words.c_str(), format, &parts);
  if (!end || *end != '\0') return std::nullopt;
  std::tm normal = parts;
  normal.tm_isdst = -1;
  if (std::mktime(&normal) == -1 || normal.tm_mday != parts.tm_mday) return std::nullopt;
  return parts;
}

std::optional<TimeSpan> within_a_day(const std::string& words) {
  struct {
    const char* format;
    long long seconds;
  } const forms[] = {{"%Y-%m-%dT%H:%M", 60},
                     {"%Y-%m-%d %H:%M", 60},
                     {"%Y-%m-%dT%H:%M:%S", 1},
                     {"%Y-%m-%d %H:%M:%S", 1}};
  for (const auto& form : forms) {
    auto parts = parsed(words, form.format);
    if (!parts) continue;
    parts->tm_isdst = -1;
    const long long begin = std::mktime(&*parts);
    return TimeSpan{begin * MILLISECONDS, (begin + form.seconds) * MILLISECONDS};
  }
  return std::nullopt;
}

std::optional<TimeSpan> ago(const std::string& words, long long now) {
  struct {
    char unit;
    long long seconds;
  } const units[] = {{'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};
  constexpr std::size_t MOST_DIGITS_AGO = 6;
  if (words.size() < 2 || words.size() > MOST_DIGITS_AGO + 1) return std::nullopt;
  const std::string count = words.substr(0, words.size() - 1);
  if (!is_all_digits(count)) return std::nullopt;
  for (const auto& unit : units) {
    if (words.back() != unit.unit) continue;
    const long long time = (now - std::atoll(count.c_str()) * unit.seconds) * MILLISECONDS;
    return TimeSpan{time, time};
  }
  return std::nullopt;
}

}  // namespace

TimeSpan time_span_of(const std::string& words, long long now) {
  if (words == "today") return day_span(local(now));
  if (words == "yesterday") return day_span(local(now), -1);
  if (const auto day = parsed(words, "%Y-%m-%d")) return day_span(*day);
  if (const auto span = within_a_day(words)) return *span;
  if (const auto span = ago(words, now)) return *span;
  if (is_all_digits(words) && words.size() >= DIGITS_OF_A_STORED_TIME &&
      words.size() <= DIGITS_OF_A_TIME) {
    const long long time = std::atoll(words.c_str());
    return {time, time + 1};
  }
  throw UsageError("'" + words +
                   "' is no time; a time is 2026-03-01, 2026-03-01T14:30, today, yesterday, 12h "
                   "or 7d");
}

TimeSpan time_span_of(const std::string& words) {
  return time_span_of(words, static_cast<long long>(std::time(nullptr)));
}

}  // namespace msg_tarvel::tool
