// The import of a phone's backup: one reading to check the file and to learn whose phone it is, a
// second one to write, in one transaction.

#include "import/import.h"

#include <glib.h>
#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/item/FolderType.h>
#include <msg-tarvel-common/item/Message.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "backup/backup_file.h"
#include "backup/backup_reader.h"
#include "backup/payload_stage.h"
#include "exit_status.h"
#include "helpers/same_address.h"
#include "helpers/store_error.h"
#include "helpers/store_indexes.h"
#include "helpers/store_writer.h"
#include "helpers/transaction.h"
#include "import/interrupt.h"
#include "import/media_type.h"
#include "import/participants.h"
#include "print/progress_bar.h"
#include "store/connections.h"
#include "store/log_sink.h"
#include "store/media.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

// Where sent messages and those that are on their way lie, beside the inbox.
constexpr int FOLDER_INBOX = MAIN_FOLDER_1;
constexpr int FOLDER_OUTBOX = MAIN_FOLDER_2;
constexpr int FOLDER_SENT = MAIN_FOLDER_3;
constexpr int FOLDER_DRAFTS = MAIN_FOLDER_4;

constexpr int STATUS_SENDING = 1;
constexpr int STATUS_SENT = 2;
constexpr int STATUS_FAILED = 3;
constexpr int STATUS_NONE = 16;

constexpr int CONTENT_STATUS_DAMAGED = 1;

/** What a backup's `type` or `msg_box` means in the store. */
struct Box {
  const char* name;
  int folder;
  int networkStatus;
};

constexpr Box BOXES[] = {
    {"1", FOLDER_INBOX, STATUS_NONE},    {"2", FOLDER_SENT, STATUS_SENT},
    {"3", FOLDER_DRAFTS, STATUS_NONE},   {"4", FOLDER_OUTBOX, STATUS_SENDING},
    {"5", FOLDER_OUTBOX, STATUS_FAILED}, {"6", FOLDER_OUTBOX, STATUS_SENDING},
};

const Box* box_of(const BackupMessage& message) {
  for (const Box& box : BOXES) {
    if (message.box == box.name) return &box;
  }
  return nullptr;
}

/** A whole number that is not negative. */
std::optional<long long> number_of(const std::string& text) {
  if (text.empty() || text.size() > 18) return std::nullopt;
  long long number = 0;
  for (const char character : text) {
    if (character < '0' || character > '9') return std::nullopt;
    number = number * 10 + (character - '0');
  }
  return number;
}

bool is_text_part(const BackupPart& part, const MediaType& type) {
  return type.name.rfind("text/", 0) == 0 && !part.text.empty();
}

/** The body; of a multimedia message, its plain texts, one below the other. */
std::string text_of(const BackupMessage& message) {
  if (!message.isMultimedia) return message.body;
  std::string text;
  bool isFirst = true;
  for (const BackupPart& part : message.parts) {
    if (!media_type_of(part.contentType).isPlainText() || part.text.empty()) continue;
    text += (isFirst ? "" : "\n") + part.text;
    isFirst = false;
  }
  return text;
}

std::vector<Address> addresses_of(const std::vector<Participant>& participants) {
  std::vector<Address> addresses;
  for (const Participant& participant : participants) {
    Address address;
    address.address = participant.address;
    address.addressType = helpers::address_type_of(participant.address);
    address.recipientType = participant.recipientType;
    addresses.push_back(std::move(address));
  }
  return addresses;
}

/** How many parts of a message are kept as files. */
int count_attachments(const BackupMessage& message) {
  int count = 0;
  for (const BackupPart& part : message.parts) {
    const bool isFile = part.payload.state == Payload::State::WHOLE;
    if (isFile && !media_type_of(part.contentType).isLayout()) ++count;
  }
  return count;
}

/** A message as it is stored, but for its people and its parts; `text` is its text. */
Message stored_message(const BackupMessage& message, const std::string& text) {
  const Box& box = *box_of(message);
  Message stored;
  stored.msgType = message.isMultimedia ? "mms" : "sms";
  stored.storageFolder = box.folder;
  stored.networkStatus = box.networkStatus;
  stored.mainText = message.subject.empty() ? text : message.subject;
  stored.textMessage = text;
  stored.displayTime = *number_of(message.date);
  stored.read = box.folder != FOLDER_INBOX || message.read != "0";
  stored.attachedNum = count_attachments(message);
  return stored;
}

/** Adds fields to a digest so that no two lists of fields give the same one. */
class Fingerprint {
 public:
  Fingerprint() : _checksum(g_checksum_new(G_CHECKSUM_SHA256)) {}
  Fingerprint(const Fingerprint&) = delete;
  Fingerprint& operator=(const Fingerprint&) = delete;
  ~Fingerprint() { g_checksum_free(_checksum); }

  void add(const std::string& field) {
    const std::string length = std::to_string(field.size()) + ":";
    for (const std::string* piece : {&length, &field}) {
      g_checksum_update(_checksum, reinterpret_cast<const guchar*>(piece->data()),
                        static_cast<gssize>(piece->size()));
    }
  }
  std::string text() { return g_checksum_get_string(_checksum); }

 private:
  GChecksum* _checksum;
};

/** Says whether two messages are the same one, however often and in which file they come. */
std::string import_mark_of(const BackupMessage& message, const NamedPeople& people,
                           const std::string& text) {
  Fingerprint fingerprint;
  fingerprint.add(message.isMultimedia ? "mms" : "sms");
  fingerprint.add(message.box);
  fingerprint.add(message.date);
  const std::vector<std::string> addresses = named_addresses(people);
  fingerprint.add(std::to_string(addresses.size()));
  for (const std::string& address : addresses) fingerprint.add(address);
  fingerprint.add(text);
  fingerprint.add(message.subject);
  for (const BackupPart& part : message.parts) {
    fingerprint.add(part.contentType);
    fingerprint.add(part.payload.digest);
  }
  return "import:" + fingerprint.text();
}

/** After a commit that may have succeeded: the store itself says which files its rows name. */
void keep_named_files(PayloadStage& stage) {
  try {
    stage.confirmNamed(read_named_files());
  } catch (const helpers::StoreError&) {
    stage.confirm();  // the next import removes what no row names
  }
}

class Import {
 public:
  Import(const std::string& path, const ImportOptions& options);

  ImportSummary run();

 private:
  void check();
  void write();
  void store(BackupMessage& message);
  std::string skipReason(const BackupMessage& message) const;
  void storeParts(int msgId, const BackupMessage& message);
  void storePart(int msgId, int index, int line, const BackupPart& part);
  void report(int line, int index, const BackupPart& part, const std::string& problem);
  std::function<void(long long)> progress(const std::string& label, long long before);

  BackupFile _file;
  const bool _makesIndexes;
  OwnNumbers _ownNumbers;
  ProgressBar _bar;
  ImportSummary _summary;
  std::unique_ptr<PayloadStage> _stage;
  std::unique_ptr<helpers::StoreWriter> _writer;
};

Import::Import(const std::string& path, const ImportOptions& options)
    : _file(path), _makesIndexes(!options.withoutIndexes) {
  for (const std::string& number : options.ownNumbers) _ownNumbers.add(number);
  forget_log_errors();
  std::vector<SimInfo> sims;
  is_found(db::db_get_sim_infos(sims), helpers::CANNOT_READ);
  for (const SimInfo& sim : sims) _ownNumbers.add(sim.address);
}

ImportSummary Import::run() {
  check();
  write();
  return _summary;
}

/** Reports progress over both readings, and ends the import when the user wants that. */
std::function<void(long long)> Import::progress(const std::string& label, long long before) {
  return [this, label, before](long long done) {
    throw_if_interrupted();
    _bar.update(label, before + done, 2 * _file.size());
  };
}

void Import::check() {
  BackupEvents events;
  events.onMessage = [this](BackupMessage& message) { _ownNumbers.observe(message); };
  events.onProgress = progress("checking ", 0);
  read_backup(_file, nullptr, events);
  _ownNumbers.conclude();
}

void Import::write() {
  forget_log_errors();
  std::optional<helpers::Transaction> transaction(std::in_place);
  remove_left_files(media_directory());
  // After the transaction begins, before it ends: an end without confirmation removes the files.
  _stage = std::make_unique<PayloadStage>(media_directory());
  _writer = std::make_unique<helpers::StoreWriter>();
  BackupEvents events;
  events.onMessage = [this](BackupMessage& message) { store(message); };
  events.onProgress = progress("importing", _file.size());
  try {
    const std::vector<std::string> indexes = helpers::set_indexes_aside();
    read_backup(_file, _stage.get(), events);
    _writer->updateConversations();
    helpers::restore_indexes(indexes);
    if (_makesIndexes) helpers::make_indexes();
    throw_if_interrupted();
    _stage->synchronise();
    transaction->commit();
    _stage->confirm();
    _summary.conversationsCreated = _writer->conversationsMade();
  } catch (const helpers::UnknownOutcome&) {
    _writer.reset();
    transaction.reset();
    keep_named_files(*_stage);
    _stage.reset();
    throw;
  } catch (...) {
    _stage.reset();
    _writer.reset();
    throw;
  }
  _writer.reset();
  _stage.reset();
}

std::string Import::skipReason(const BackupMessage& message) const {
  if (message.date.empty()) return "no date";
  if (!number_of(message.date)) return "unusable date";
  if (!box_of(message)) {
    return message.box.empty() ? "no message type" : "unknown message type " + message.box;
  }
  return {};
}

void Import::store(BackupMessage& message) {
  ++_summary.read;
  const std::string text = text_of(message);
  const NamedPeople people = named_people(message);
  const std::string mark = import_mark_of(message, people, text);
  std::string reason = skipReason(message);
  if (reason.empty() && _writer->isStored(mark)) reason = "already in the store";
  if (!reason.empty()) {
    ++_summary.skipped[reason];
    for (const BackupPart& part : message.parts) _stage->drop(part.payload);
    return;
  }

  Message stored = stored_message(message, text);
  stored.addresses = addresses_of(participants_of(people, _ownNumbers.numbers()));
  const int convId = _writer->conversationOf(stored);
  const std::string sender = sender_of(message);
  if (stored.addresses.size() > 1 && !sender.empty()) {
    stored.peerGroupChatSender = _writer->storedAddress(convId, sender);
  }
  storeParts(_writer->addMessage(convId, stored, {false, mark}), message);
  ++_summary.stored;
}

void Import::storeParts(int msgId, const BackupMessage& message) {
  int index = 0;
  for (const BackupPart& part : message.parts) {
    ++index;
    if (media_type_of(part.contentType).isLayout()) {
      _stage->drop(part.payload);
    } else {
      storePart(msgId, index, message.line, part);
    }
  }
}

void Import::storePart(int msgId, int index, int line, const BackupPart& part) {
  const MediaType type = media_type_of(part.contentType);
  Content content;
  content.slideIdx = static_cast<int>(number_of(part.sequence.substr(0, 9)).value_or(0));
  content.contentType = part.contentType;
  content.mediaType = type.mediaType;
  content.filename = part.name;
  if (is_text_part(part, type)) content.textData = part.text;

  if (part.payload.state == Payload::State::WHOLE) {
    content.attachType = true;
    content.hasFile = true;
    content.filepath = _stage->keep(
        part.payload, std::to_string(msgId) + "-" + std::to_string(index), type.extension);
    if (!type.isKnown) report(line, index, part, "unknown content type, stored as a file");
  } else if (part.payload.state == Payload::State::DAMAGED) {
    content.status = CONTENT_STATUS_DAMAGED;
    report(line, index, part, "damaged base64, stored without its data");
  } else if (content.textData.empty() && !type.isPlainText()) {
    content.status = CONTENT_STATUS_DAMAGED;
    report(line, index, part, "no data");
  }
  _writer->addContent(msgId, content, content.hasFile ? part.payload.size : 0);
  ++_summary.partsStored;
}

void Import::report(int line, int index, const BackupPart& part, const std::string& problem) {
  ++_summary.partsReported;
  if (_summary.reports.size() < MOST_REPORTS) {
    _summary.reports.push_back({line, index, part.contentType, problem});
  }
}

}  // namespace

long ImportSummary::skippedInAll() const {
  long count = 0;
  for (const auto& [reason, number] : skipped) count += number;
  return count;
}

ImportSummary import_backup(const std::string& path, const ImportOptions& options) {
  wait_interruptibly();
  return interruptible("nothing was imported", [&] { return Import(path, options).run(); });
}

}  // namespace msg_tarvel::tool
