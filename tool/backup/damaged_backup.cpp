#include "backup/damaged_backup.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t SEGMENT_PIECE = 65536;
/** As much of the file's beginning is looked at for its encoding and its root. */
constexpr std::size_t BEGINNING = 4096;

constexpr const char* CUT_SHORT = "the file ends before its end";

constexpr std::string_view ROOT = "<smses";
constexpr std::string_view END = "</smses";
constexpr std::string_view DOCUMENT_BEGIN = "<smses>";
constexpr std::string_view DOCUMENT_END = "</smses>";

bool begins_with(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

bool is_message(std::string_view text) {
  if (!begins_with(text, "<sms") && !begins_with(text, "<mms")) return false;
  return text.size() > 4 && std::string_view(" \t\r\n/>").find(text[4]) != std::string_view::npos;
}

bool is_beginning_of_segment(std::string_view text) {
  return is_message(text) || begins_with(text, END);
}

/**
 * A backup in pieces: what is before the first message, each message with what follows it, and the
 * end. A "<" stands in no value, so that nothing within a message looks like the next.
 */
class Segments {
 public:
  Segments(const BackupFile& file, const BackupEvents& events)
      : _file(file), _events(events), _stream(file) {}

  /** Of the segment; 0 at its end. */
  std::size_t read(char* buffer, std::size_t size);
  /** Goes on to the end of the segment. */
  void skip();
  /** Goes on to the next segment; false when there is none. */
  bool next();

  int line() const { return _line; }
  bool isRecoded() { return _stream.isRecoded(); }
  /** To be asked at the end of a segment. */
  bool isLast() const { return !_isWhole; }
  bool isEnd() const { return begins_with(std::string_view(_text).substr(_at), END); }
  std::string beginning();

 private:
  bool _fill();
  void _findEnd();

  const BackupFile& _file;
  const BackupEvents& _events;
  BackupStream _stream;
  /** What is read; taken as far as `_at`, and of this segment as far as `_end`. */
  std::string _text;
  std::size_t _at = 0;
  std::size_t _end = 0;
  bool _isWhole = false;
  bool _isAtEnd = false;
  int _line = 1;
};

std::string Segments::beginning() {
  while (_text.size() < BEGINNING && _fill()) {
  }
  return _text.substr(0, BEGINNING);
}

/** Reads on; false at the end of the file, or of what can be decompressed. */
bool Segments::_fill() {
  if (_isAtEnd) return false;
  _text.erase(0, _at);
  _end -= _at;
  _at = 0;
  const std::size_t before = _text.size();
  _text.resize(before + SEGMENT_PIECE);
  std::size_t count = 0;
  try {
    count = _stream.read(&_text[before], SEGMENT_PIECE);
  } catch (const BackupDamage& damage) {
    const auto lines = std::count(_text.begin(), _text.begin() + static_cast<long>(before), '\n');
    _events.onDamage(BackupDamage(_file.name(), _line + lines, damage.problem));
  }
  _text.resize(before + count);
  _isAtEnd = count == 0;
  _events.onProgress(_stream.position());
  return count > 0;
}

/** Moves `_end` on, to the beginning of the next segment or as far as there surely is none. */
void Segments::_findEnd() {
  const std::string_view text(_text);
  while (!_isWhole) {
    const std::size_t found = std::min(text.find('<', _end), text.size());
    _end = found;
    if (found == text.size()) return;
    if (text.size() - found <= END.size() && !_isAtEnd) return;
    _isWhole = is_beginning_of_segment(text.substr(found));
    if (!_isWhole) ++_end;
  }
}

std::size_t Segments::read(char* buffer, std::size_t size) {
  _findEnd();
  while (_end == _at && !_isWhole && _fill()) _findEnd();
  if (_end == _at && !_isWhole) _findEnd();
  const std::size_t count = std::min(size, _end - _at);
  std::copy_n(_text.begin() + static_cast<long>(_at), count, buffer);
  _line += static_cast<int>(std::count(buffer, buffer + count, '\n'));
  _at += count;
  return count;
}

void Segments::skip() {
  char rest[SEGMENT_PIECE];
  while (read(rest, sizeof rest) > 0) {
  }
}

bool Segments::next() {
  skip();
  if (!_isWhole) return false;
  _isWhole = false;
  ++_end;  // beyond the "<" that this one begins with
  return true;
}

/** The XML declaration, which says the encoding; empty for none. */
std::string declaration_of(const std::string& beginning) {
  const std::size_t end = beginning.find("?>");
  const bool isThere = begins_with(beginning, "<?xml ") && end != std::string::npos;
  return isThere ? beginning.substr(0, end + 2) : std::string();
}

/** Gives `prefix`, the segment and `suffix`, one after the other. */
std::size_t read_between(std::string& prefix, Segments& segments, std::string& suffix, char* buffer,
                         std::size_t size) {
  for (std::string* const text : {&prefix, &suffix}) {
    if (text == &suffix) {
      if (const std::size_t count = segments.read(buffer, size); count > 0) return count;
    }
    const std::size_t count = std::min(size, text->size());
    std::copy_n(text->begin(), count, buffer);
    text->erase(0, count);
    if (count > 0) return count;
  }
  return 0;
}

/** In the parser's words a tag's line is one of the segment: "mms line 1 and smses". */
std::string without_its_lines(const std::string& problem) {
  const std::size_t begin = problem.find(" line ");
  if (begin == std::string::npos) return problem;
  const std::size_t end = problem.find_first_not_of("0123456789", begin + 6);
  return problem.substr(0, begin) + (end == std::string::npos ? "" : problem.substr(end));
}

void read_segment(const BackupFile& file, std::string prefix, Segments& segments,
                  PayloadStage* stage, const BackupEvents& events) {
  std::string suffix(DOCUMENT_END);
  BackupSource source;
  source.name = file.name();
  source.firstLine = segments.line();
  source.isRecoded = segments.isRecoded();
  source.read = [&](char* buffer, std::size_t size) {
    return read_between(prefix, segments, suffix, buffer, size);
  };
  try {
    read_source(source, stage, events);
  } catch (const BackupDamage& damage) {
    segments.skip();
    const bool isCut = segments.isLast();
    events.onDamage(BackupDamage(file.name(), damage.line,
                                 isCut ? CUT_SHORT : without_its_lines(damage.problem)));
  }
  if (stage) stage->abandon();
}

}  // namespace

void read_damaged_backup(const BackupFile& file, PayloadStage* stage, const BackupEvents& events) {
  Segments segments(file, events);
  const std::string beginning = segments.beginning();
  if (beginning.find(ROOT) == std::string::npos) {
    throw BackupDamage(file.name(), 1, "not a message backup: it has no <smses>");
  }
  read_segment(file, "", segments, stage, events);

  // Only the first document has a count.
  BackupEvents events_of_messages = events;
  events_of_messages.onCount = nullptr;
  std::string prefix = declaration_of(beginning);
  prefix.erase(std::remove(prefix.begin(), prefix.end(), '\n'), prefix.end());
  prefix += DOCUMENT_BEGIN;
  bool isEnded = false;
  bool isCutNoted = false;
  events_of_messages.onDamage = [&](const BackupDamage& damage) {
    isCutNoted = damage.problem == CUT_SHORT;
    events.onDamage(damage);
  };
  while (segments.next()) {
    isEnded = segments.isEnd();
    if (!isEnded) read_segment(file, prefix, segments, stage, events_of_messages);
  }
  if (!isEnded && !isCutNoted) {
    events.onDamage(BackupDamage(file.name(), segments.line(), CUT_SHORT));
  }
}

}  // namespace msg_tarvel::tool
