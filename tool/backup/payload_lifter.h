#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>

#include "backup/passage.h"

namespace msg_tarvel::tool {

/** Stands behind a payload's number in what the parser gets. */
constexpr char PAYLOAD_NUMBER_END = '.';

constexpr int MOST_ATTRIBUTES = 1000;

/** About as much of a comment, an instruction or a value that nobody stores gets to the parser. */
constexpr std::size_t MOST_OF_THE_REST = 65536;
/** About as much of a value that is stored does. */
constexpr std::size_t MOST_TEXT = std::size_t{4} << 20;
/** The attribute that an element has got when one of its values that are stored was cut. */
constexpr const char* CUT_MARK = "msg-tarvel.cut";

/** Thrown for an element with more attributes than that. */
class TooManyAttributes : public std::runtime_error {
 public:
  explicit TooManyAttributes(long onLine)
      : std::runtime_error("an element has more than " + std::to_string(MOST_ATTRIBUTES) +
                           " attributes"),
        line(onLine) {}
  /** Of the file. */
  const long line;
};

/** Takes the payloads that a PayloadLifter lifts out. */
class PayloadSink {
 public:
  PayloadSink() = default;
  PayloadSink(const PayloadSink&) = delete;
  PayloadSink& operator=(const PayloadSink&) = delete;
  virtual ~PayloadSink() = default;

  /** The payload `number` begins; they are numbered from 1. */
  virtual void beginPayload(long number) = 0;
  virtual void payloadText(const char* text, std::size_t size) = 0;
  virtual void endPayload() = 0;
};

/**
 * Lifts the payloads, the values of <part data="...">, out of a backup before a parser sees them.
 *
 * A parser keeps a whole start tag in memory, some of them twice, and nearly all of a backup is
 * base64 in start tags. In place of a payload the parser gets its number, so that its memory does
 * not depend on the size of any attachment. Of the payload's own characters it gets only those that
 * may not stand in a value or end a line, for it to judge and to count.
 *
 * This knows just enough of XML to tell tags, quotes, comments, CDATA and processing instructions
 * apart; whether the file is well formed stays the parser's business. It also refuses elements with
 * so many attributes that comparing their names, as every parser must, would take forever, and cuts
 * whatever would take the parser's memory by its length.
 */
class PayloadLifter {
 public:
  explicit PayloadLifter(PayloadSink& sink) : _sink(sink) {}

  /**
   * Appends what the parser is to see of the next piece of the file to `out`. Throws
   * TooManyAttributes, and what the sink throws.
   */
  void lift(const char* data, std::size_t size, std::string& out);

  /** The line of the file for a line of what the parser got, which lacks those that were cut. */
  long lineInFile(long line) const;

 private:
  enum class State {
    TEXT,
    MARKUP,
    EXCLAMATION,
    SKIPPED,
    ELEMENT_NAME,
    TAG,
    ATTRIBUTE_NAME,
    VALUE,
    PAYLOAD
  };

  const char* _pass(const char* at, const char* end);
  const char* _passUntil(char last, State next, const char* at, const char* end);
  const char* _passSkipped(const char* at, const char* end);
  void _cut(State state, const char* begin, const char* end, std::string& out);
  void _takeMarkup(char character);
  const char* _takeElementName(const char* at, const char* end);
  const char* _takeTag(const char* at, const char* end);
  const char* _takeAttributeName(const char* at, const char* end);
  void _endTag();
  void _beginValue(char quote);
  void _beginPayload(std::string& out);
  const char* _payload(const char* at, const char* end, std::string& out);
  void _payloadReference(char character, std::string& out);
  void _skipUntil(const char* terminator);

  PayloadSink& _sink;
  State _state = State::TEXT;
  std::string _element;
  std::string _attribute;
  int _attributeCount = 0;
  /** On which the next piece begins. */
  long _line = 1;
  char _quote = '"';
  long _payloads = 0;
  /** A character reference within a payload, as far as it is read. */
  std::string _reference;
  /** What ends a comment, CDATA section or instruction, and the latest characters within it. */
  std::string _terminator;
  std::string _latest;
  /** Of a value, a payload's strange characters, or what is skipped. */
  Passage _passage;
  /** Whether it is not yet seen to be the beginning of a long value, which may be one of a text. */
  bool _mayBeLonger = false;
  bool _isMarked = false;
  long _linesCut = 0;
  /** By the line that the parser had come to: how many lines were cut so far. */
  std::map<long, long> _linesCutBefore;
};

}  // namespace msg_tarvel::tool
