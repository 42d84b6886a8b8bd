#include "backup/backup_reader.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "backup/character_references.h"
#include "backup/payload_lifter.h"
#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t READ_SIZE = 65536;
constexpr std::size_t ELEMENT_SIZE = 32;
/** Of a message with all its parts and addresses; beyond it is no message that anybody sent. */
constexpr std::size_t MOST_OF_A_MESSAGE = 2 * MOST_TEXT;

/** For a reading that looks at the messages only. */
class NoPayloads : public PayloadSink {
 public:
  void beginPayload(long /*number*/) override {}
  void payloadText(const char* /*text*/, std::size_t /*size*/) override {}
  void endPayload() override {}
};

struct ParserDeleter {
  void operator()(xmlParserCtxt* parser) const {
    // The parser makes one of itself for an entity that is declared after an error, which ends all
    // calls of ours, so that the document type is not refused.
    xmlFreeDoc(parser->myDoc);
    xmlFreeParserCtxt(parser);
  }
};

/** Lends the attributes of an element by name. */
class Attributes {
 public:
  Attributes(int count, const xmlChar** values) : _count(count), _values(values) {}

  struct View {
    const char* begin = nullptr;
    std::size_t size = 0;
  };

  View view(const char* name) const {
    // Five to an attribute: name, prefix, namespace, begin and end of the value.
    for (int i = 0; i < _count; ++i) {
      const xmlChar** const attribute = _values + 5 * static_cast<std::ptrdiff_t>(i);
      if (attribute[1] || std::strcmp(text_of(attribute[0]), name) != 0) continue;
      return {text_of(attribute[3]), static_cast<std::size_t>(attribute[4] - attribute[3])};
    }
    return {};
  }

  /** "null" is what some programs write for nothing. */
  std::string operator[](const char* name) const {
    const View value = view(name);
    if (value.size == 4 && std::memcmp(value.begin, "null", 4) == 0) return {};
    return {value.begin, value.begin + value.size};
  }

  /** Of an attribute that may say "null" and mean it. */
  std::string text(const char* name) const {
    const View value = view(name);
    return {value.begin, value.begin + value.size};
  }

  /** What the element takes in memory, at least; much of it for one that was cut. */
  std::size_t size() const {
    std::size_t size = view(CUT_MARK).begin ? MOST_OF_A_MESSAGE : ELEMENT_SIZE;
    for (int i = 0; i < _count; ++i) {
      const xmlChar** const attribute = _values + 5 * static_cast<std::ptrdiff_t>(i);
      size += static_cast<std::size_t>(attribute[4] - attribute[3]);
    }
    return size;
  }

  static const char* text_of(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

 private:
  int _count;
  const xmlChar** _values;
};

class Reader {
 public:
  Reader(const BackupSource& source, PayloadStage* stage, const BackupEvents& events)
      : _source(source),
        _stage(stage),
        _events(events),
        _lifter(stage ? static_cast<PayloadSink&>(*stage) : _noPayloads) {}

  void run();

 private:
  // Called by the parser, through whose frames no exception may pass.
  static int onRead(void* self, char* buffer, int size);
  static void onStart(void* self, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                      int namespaceCount, const xmlChar** namespaces, int attributeCount,
                      int defaultedCount, const xmlChar** attributes);
  static void onEnd(void* self, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri);
  static void onDocumentType(void* self, const xmlChar* name, const xmlChar* publicId,
                             const xmlChar* systemId);
  static void onError(void* self, xmlErrorPtr error);

  template <typename Action>
  void guarded(Action&& action);

  int read(char* buffer, int size);
  void start(const std::string& name, const Attributes& attributes);
  void end();
  Payload payloadOf(const Attributes& attributes);
  [[noreturn]] void reject(const std::string& reason) { rejectAt(line(), reason); }
  /** `line` is one of the file's. */
  [[noreturn]] void rejectAt(int line, const std::string& reason) const {
    throw BackupDamage(_source.name, line, reason);
  }
  int line() const { return lineInFile(_parser->input ? _parser->input->line : 1); }
  int lineInFile(int line) const {
    return static_cast<int>(_lifter.lineInFile(std::max(line, 1))) + _source.firstLine - 1;
  }
  bool takesTooMuch(std::size_t size);

  const BackupSource& _source;
  PayloadStage* const _stage;
  const BackupEvents& _events;
  NoPayloads _noPayloads;
  PayloadLifter _lifter;
  CharacterReferences _references;
  std::unique_ptr<xmlParserCtxt, ParserDeleter> _parser;
  /** The first exception of a callback, and the parser's first complaint. */
  std::exception_ptr _exception;
  std::string _complaint;
  int _complaintLine = 0;

  std::string _ready;
  std::size_t _taken = 0;
  bool _atEnd = false;

  int _depth = 0;
  bool _inMessage = false;
  BackupMessage _message;
  std::size_t _messageSize = 0;
};

void ignore_generic_error(void* /*context*/, const char* /*format*/, ...) {}
void ignore_error(void* /*context*/, xmlErrorPtr /*error*/) {}

void Reader::run() {
  // What has no parser to go to (input and output errors) would be printed otherwise.
  xmlSetGenericErrorFunc(nullptr, &ignore_generic_error);
  xmlSetStructuredErrorFunc(nullptr, &ignore_error);

  xmlSAXHandler handler = {};
  handler.initialized = XML_SAX2_MAGIC;
  handler.startElementNs = &onStart;
  handler.endElementNs = &onEnd;
  handler.internalSubset = &onDocumentType;
  handler.serror = &onError;
  _parser.reset(
      xmlCreateIOParserCtxt(&handler, this, &onRead, nullptr, this, XML_CHAR_ENCODING_NONE));
  if (!_parser) throw std::bad_alloc();
  // HUGE lifts the limit on the length of a value; it is safe because entities cannot be declared
  // (document types are refused). NOENT makes "&amp;" arrive as "&".
  xmlCtxtUseOptions(_parser.get(), XML_PARSE_HUGE | XML_PARSE_NONET | XML_PARSE_NOENT |
                                       (_source.isRecoded ? XML_PARSE_IGNORE_ENC : 0));

  xmlParseDocument(_parser.get());
  if (_exception) std::rethrow_exception(_exception);
  if (!_parser->wellFormed) {
    rejectAt(lineInFile(_complaintLine), _complaint.empty() ? "not well formed" : _complaint);
  }
}

template <typename Action>
void Reader::guarded(Action&& action) {
  if (_exception) return;
  try {
    action();
  } catch (...) {
    _exception = std::current_exception();
    xmlStopParser(_parser.get());
  }
}

int Reader::onRead(void* self, char* buffer, int size) {
  auto* const reader = static_cast<Reader*>(self);
  // Not stopped from here: the parser is in the middle of its input. The end of it stops it too.
  try {
    return reader->_exception ? 0 : reader->read(buffer, size);
  } catch (const TooManyAttributes& error) {
    reader->_exception = std::make_exception_ptr(BackupDamage(
        reader->_source.name, error.line + reader->_source.firstLine - 1, error.what()));
  } catch (...) {
    reader->_exception = std::current_exception();
  }
  return 0;
}

int Reader::read(char* buffer, int size) {
  if (_taken == _ready.size()) {
    _ready.clear();
    _taken = 0;
  }
  while (_ready.empty() && !_atEnd) {
    char piece[READ_SIZE];
    const std::size_t count = _source.read(piece, sizeof piece);
    std::string lifted;
    _lifter.lift(piece, count, lifted);
    _references.rewrite(lifted.data(), lifted.size(), _ready);
    _atEnd = count == 0;
    if (_atEnd) _references.finish(_ready);
  }
  const std::size_t count = std::min(static_cast<std::size_t>(size), _ready.size() - _taken);
  std::memcpy(buffer, _ready.data() + _taken, count);
  _taken += count;
  return static_cast<int>(count);
}

void Reader::onStart(void* self, const xmlChar* name, const xmlChar* /*prefix*/,
                     const xmlChar* /*uri*/, int /*namespaceCount*/, const xmlChar** /*namespaces*/,
                     int attributeCount, int /*defaultedCount*/, const xmlChar** attributes) {
  auto* const reader = static_cast<Reader*>(self);
  reader->guarded(
      [&] { reader->start(Attributes::text_of(name), Attributes(attributeCount, attributes)); });
}

void Reader::onEnd(void* self, const xmlChar* /*name*/, const xmlChar* /*prefix*/,
                   const xmlChar* /*uri*/) {
  auto* const reader = static_cast<Reader*>(self);
  reader->guarded([&] { reader->end(); });
}

void Reader::onDocumentType(void* self, const xmlChar* /*name*/, const xmlChar* /*publicId*/,
                            const xmlChar* /*systemId*/) {
  auto* const reader = static_cast<Reader*>(self);
  reader->guarded([&] { reader->reject("a document type declaration is not allowed"); });
}

void Reader::onError(void* self, xmlErrorPtr error) {
  auto* const reader = static_cast<Reader*>(self);
  if (error->level != XML_ERR_FATAL || !reader->_complaint.empty()) return;
  const std::string message = error->message ? error->message : "not well formed";
  reader->_complaint = message.substr(0, message.find('\n'));
  reader->_complaintLine = error->line;
}

void Reader::start(const std::string& name, const Attributes& attributes) {
  ++_depth;
  if (_depth == 1 && name != "smses") {
    reject("not a message backup: its root is <" + name + ">, not <smses>");
  }
  if (_depth == 1 && _events.onCount) _events.onCount(attributes["count"]);
  if (_inMessage && takesTooMuch(attributes.size())) return;
  if (_depth == 2 && (name == "sms" || name == "mms")) {
    _inMessage = true;
    _message = {};
    _message.isMultimedia = name == "mms";
    _message.line = line();
    _message.address = attributes["address"];
    _message.date = attributes["date"];
    _message.box = attributes[_message.isMultimedia ? "msg_box" : "type"];
    _message.read = attributes["read"];
    _message.transfer = attributes["m_type"];
    _message.subject = attributes[_message.isMultimedia ? "sub" : "subject"];
    _message.body = attributes.text("body");
    _messageSize = 0;
    if (attributes.view(CUT_MARK).begin) takesTooMuch(MOST_OF_A_MESSAGE);
  } else if (_inMessage && name == "part") {
    BackupPart part;
    part.sequence = attributes["seq"];
    part.contentType = attributes["ct"];
    for (const char* source : {"cl", "name", "fn"}) {
      if (part.name.empty()) part.name = attributes[source];
    }
    part.text = attributes.text("text");
    part.payload = payloadOf(attributes);
    _message.parts.push_back(std::move(part));
  } else if (_inMessage && name == "addr") {
    _message.addresses.push_back({attributes["address"], std::atoi(attributes["type"].c_str())});
  }
}

void Reader::end() {
  if (_depth-- == 2 && _inMessage) {
    _inMessage = false;
    _events.onMessage(_message);
  }
}

/** Whether the message is too large with as much more of it, or was so before. */
bool Reader::takesTooMuch(std::size_t size) {
  _messageSize += size;
  if (_messageSize < MOST_OF_A_MESSAGE || _message.isTooLarge) return _message.isTooLarge;
  _message.isTooLarge = true;
  for (const BackupPart& part : _message.parts) {
    if (_stage) _stage->drop(part.payload);
  }
  for (std::string* text : {&_message.address, &_message.subject, &_message.body}) {
    std::string().swap(*text);
  }
  std::vector<BackupPart>().swap(_message.parts);
  std::vector<BackupAddress>().swap(_message.addresses);
  return true;
}

/** The payload of a part: as a rule lifted out long ago, its number standing in its place. */
Payload Reader::payloadOf(const Attributes& attributes) {
  const Attributes::View data = attributes.view("data");
  if (!_stage || !data.begin) return {};
  char* numberEnd = nullptr;
  const long number = std::strtol(data.begin, &numberEnd, 10);
  if (number > 0 && *numberEnd == PAYLOAD_NUMBER_END) return _stage->take(number);
  // In encodings that are not like ASCII the lifter sees no tags.
  return _stage->decode(data.begin, data.size);
}

}  // namespace

void read_backup(const BackupFile& file, PayloadStage* stage, const BackupEvents& events) {
  BackupStream stream(file);
  BackupSource source;
  source.name = file.name();
  source.isRecoded = stream.isRecoded();
  source.read = [&](char* buffer, std::size_t size) {
    const std::size_t count = stream.read(buffer, size);
    events.onProgress(stream.position());
    return count;
  };
  read_source(source, stage, events);
}

void read_source(const BackupSource& source, PayloadStage* stage, const BackupEvents& events) {
  Reader(source, stage, events).run();
}

}  // namespace msg_tarvel::tool
