#pragma once

#include <string>

namespace msg_tarvel::tool {

/** From `begin` up to but not including `end`, in milliseconds since 1970. */
struct TimeSpan {
  long long begin;
  long long end;
};

/**
 * The time that `words` name: a day (2026-03-01, today, yesterday), a minute or a second of one
 * (2026-03-01T14:30, 2026-03-01T14:30:05), all in local time; a moment so long ago (30m, 12h, 7d,
 * 2w); or a time as it is stored, in milliseconds, of ten digits or more. `now` is in seconds.
 * Throws UsageError for anything else.
 */
TimeSpan time_span_of(const std::string& words, long long now);

/** The same as of now. */
TimeSpan time_span_of(const std::string& words);

}  // namespace msg_tarvel::tool
