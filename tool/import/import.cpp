// The import of a phone's backup, in one transaction. In the middle of it the file is read once
// more where a message needs to know whose phone it is.

#include "import/import.h"

#include <unistd.h>

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/item/FolderType.h>
#include <msg-tarvel-common/item/Message.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "backup/backup_file.h"
#include "backup/backup_reader.h"
#include "backup/damaged_backup.h"
#include "backup/payload_stage.h"
#include "exit_status.h"
#include "helpers/network_status.h"
#include "helpers/same_address.h"
#include "helpers/store_error.h"
#include "helpers/store_indexes.h"
#include "helpers/store_writer.h"
#include "helpers/transaction.h"
#include "import/import_mark.h"
#include "import/media_type.h"
#include "import/participants.h"
#include "import/restore.h"
#include "interrupt.h"
#include "print/progress_bar.h"
#include "store/connections.h"
#include "store/log_sink.h"
#include "store/media.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

using helpers::NETWORK_FAILED;
using helpers::NETWORK_NONE;
using helpers::NETWORK_SENDING;
using helpers::NETWORK_SENT;

// Where sent messages and those that are on their way lie, beside the inbox.
constexpr int FOLDER_INBOX = MAIN_FOLDER_1;
constexpr int FOLDER_OUTBOX = MAIN_FOLDER_2;
constexpr int FOLDER_SENT = MAIN_FOLDER_3;
constexpr int FOLDER_DRAFTS = MAIN_FOLDER_4;

constexpr int CONTENT_STATUS_DAMAGED = 1;

/** What some programs write where there is no text. */
constexpr const char* NO_TEXT = "null";

/** What a backup's `type` or `msg_box` means in the store. */
struct Box {
  const char* name;
  int folder;
  int networkStatus;
};

constexpr Box BOXES[] = {
    {"1", FOLDER_INBOX, NETWORK_NONE},    {"2", FOLDER_SENT, NETWORK_SENT},
    {"3", FOLDER_DRAFTS, NETWORK_NONE},   {"4", FOLDER_OUTBOX, NETWORK_SENDING},
    {"5", FOLDER_OUTBOX, NETWORK_FAILED}, {"6", FOLDER_OUTBOX, NETWORK_SENDING},
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
  addresses.reserve(participants.size());
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

/** How a file is read: as it should be, or what is good of it. */
using Reading = void (*)(const BackupFile&, PayloadStage*, const BackupEvents&);

class Import {
 public:
  Import(const BackupFile& file, Reading reading, const ImportOptions& options);

  ImportSummary run();

 private:
  void write();
  const helpers::AddressSet& ownNumbers();
  void store(BackupMessage& message);
  void complete(BackupMessage& message);
  std::string skipReason(const BackupMessage& message) const;
  std::string skipReasonIfKnown(const BackupMessage& message, const NamedPeople& people,
                                const std::string& text, const std::string& mark);
  void skip(const BackupMessage& message, const std::string& reason);
  std::vector<Participant> participantsOf(const NamedPeople& people);
  void storeParts(int msgId, const BackupMessage& message);
  void storePart(int msgId, int index, int line, const BackupPart& part);
  void report(int line, int index, const BackupPart& part, const std::string& problem);
  void summarise();

  const BackupFile& _file;
  const Reading _reading;
  const ImportOptions& _options;
  OwnNumbers _ownNumbers;
  bool _areOwnNumbersKnown = false;
  std::map<std::string, long> _messagesOfOwnNumbers;
  std::set<std::string> _problems;
  /** What is read of the file, and the size of all that is to be read. */
  long long _done = 0;
  long long _total = 0;
  ProgressBar _bar;
  ImportSummary _summary;
  std::unique_ptr<PayloadStage> _stage;
  std::unique_ptr<helpers::StoreWriter> _writer;
};

Import::Import(const BackupFile& file, Reading reading, const ImportOptions& options)
    : _file(file), _reading(reading), _options(options), _total(file.size()) {
  _summary.file = file.name();
  for (const std::string& number : options.ownNumbers) {
    _ownNumbers.add(number, OwnNumberSource::OPTION);
  }
  if (!options.ownNumbers.empty()) _ownNumbers.endGuessing();
  forget_log_errors();
  std::vector<SimInfo> sims;
  is_found(db::db_get_sim_infos(sims), helpers::CANNOT_READ);
  for (const SimInfo& sim : sims) _ownNumbers.add(sim.address, OwnNumberSource::SIM_CARD);
}

ImportSummary Import::run() {
  write();
  return std::move(_summary);
}

/**
 * The owner's numbers. Who that is shows only in the whole file, which is read for it when the
 * first message needs to know; a file of nothing but texts is read once.
 */
const helpers::AddressSet& Import::ownNumbers() {
  if (_areOwnNumbersKnown) return _ownNumbers.numbers();
  _areOwnNumbersKnown = true;
  if (!_ownNumbers.isGuessing()) return _ownNumbers.numbers();
  BackupEvents events;
  events.onMessage = [this](BackupMessage& message) { _ownNumbers.observe(message); };
  events.onProgress = [this](long long done) {
    throw_if_interrupted();
    _bar.update("checking ", _done + done, 2 * _total);
  };
  events.onDamage = [](const BackupDamage&) {};
  _reading(_file, nullptr, events);
  _ownNumbers.conclude();
  _total *= 2;
  return _ownNumbers.numbers();
}

void Import::write() {
  forget_log_errors();
  std::optional<helpers::Transaction> transaction(std::in_place);
  if (!_options.isDryRun) settle_left_files(media_directory());
  // After the transaction begins, before it ends: an end without confirmation removes the files.
  _stage = std::make_unique<PayloadStage>(media_directory(), _options.isDryRun);
  _writer = std::make_unique<helpers::StoreWriter>();
  _writer->tellTwins();
  _writer->doBetweenSteps(&throw_if_interrupted);
  BackupEvents events;
  events.onCount = [this](const std::string& count) {
    if (const auto number = number_of(count)) _summary.count = *number;
  };
  events.onMessage = [this](BackupMessage& message) { store(message); };
  events.onProgress = [this](long long done) {
    throw_if_interrupted();
    _done = _total - _file.size() + done;
    _bar.update("importing", _done, _total);
  };
  events.onDamage = [this](const BackupDamage& damage) {
    ++_summary.damages;
    if (_summary.damage.size() < MOST_REPORTS) {
      _summary.damage.push_back({damage.line, damage.problem});
    }
  };
  try {
    const std::vector<std::string> indexes = helpers::set_indexes_aside();
    _reading(_file, _stage.get(), events);
    _writer->updateConversations();
    helpers::restore_indexes(indexes);
    if (!_options.withoutIndexes) helpers::make_indexes();
    throw_if_interrupted();
    summarise();
    _writer.reset();
    if (!_options.isDryRun) commit_with_files(transaction, *_stage);
  } catch (...) {
    _stage.reset();
    _writer.reset();
    throw;
  }
  _stage.reset();
}

void Import::summarise() {
  _summary.conversationsCreated = _writer->conversationsMade();
  _summary.twins = _writer->twins();
  for (const auto& [number, source] : _ownNumbers.sources()) {
    const auto messages = _messagesOfOwnNumbers.find(number);
    const long count = messages == _messagesOfOwnNumbers.end() ? 0 : messages->second;
    const bool isGuess = source == OwnNumberSource::BACKUP;
    if (count > 0 || isGuess) _summary.ownNumbers.push_back({number, source, count});
  }
}

std::string Import::skipReason(const BackupMessage& message) const {
  if (message.isTooLarge) return "more text than a message has";
  if (message.date.empty()) return "no date";
  if (!number_of(message.date)) return "unusable date";
  if (!box_of(message)) {
    return message.box.empty() ? "no message type" : "unknown message type " + message.box;
  }
  return {};
}

/** Empty for a message that neither this file nor the store has had. */
std::string Import::skipReasonIfKnown(const BackupMessage& message, const NamedPeople& people,
                                      const std::string& text, const std::string& mark) {
  if (_writer->isStored(mark)) {
    return _writer->isStoredHere(mark) ? "repeated in the file" : "already in the store";
  }
  // The other mark is worth its making only where the store has a message of that time.
  const bool isStored = _writer->isImportedOf(*number_of(message.date)) &&
                        _writer->isStored(former_import_mark_of(message, people, text));
  return isStored ? "already in the store" : std::string();
}

void Import::skip(const BackupMessage& message, const std::string& reason) {
  Skipped& skipped = _summary.skipped[reason];
  if (++skipped.count == 1) skipped.firstLine = message.line;
  for (const BackupPart& part : message.parts) _stage->drop(part.payload);
}

/** Supplies what the file leaves to be found out. */
void Import::complete(BackupMessage& message) {
  if (message.isMultimedia && message.box.empty()) {
    const bool saysTransfer = !message.transfer.empty();
    message.box = box_of_transfer(message, saysTransfer ? _ownNumbers.numbers() : ownNumbers());
  }
  for (BackupPart& part : message.parts) {
    // The word for nothing is a text only where there is nothing else.
    const bool isText = media_type_of(part.contentType).name.rfind("text/", 0) == 0 &&
                        part.payload.state == Payload::State::NONE;
    if (part.text == NO_TEXT && !isText) part.text.clear();
  }
}

std::vector<Participant> Import::participantsOf(const NamedPeople& people) {
  if (is_with_one_person(people)) return {{people.listed.front()}};
  const helpers::AddressSet& own = ownNumbers();
  std::set<std::string> named;
  for (const std::string& address : named_addresses(people)) {
    if (const std::string* const number = own.find(address)) named.insert(*number);
  }
  std::vector<Participant> participants = participants_of(people, own);
  for (const std::string& number : named) {
    const bool isAlone =
        participants.size() == 1 && helpers::is_same_address(participants.front().address, number);
    if (!isAlone) ++_messagesOfOwnNumbers[number];
  }
  return participants;
}

void Import::store(BackupMessage& message) {
  ++_summary.read;
  complete(message);
  std::string reason = skipReason(message);
  if (!reason.empty()) {
    skip(message, reason);
    return;
  }
  const std::string text = text_of(message);
  NamedPeople people = named_people(message);
  const std::string sender = sender_of(message);
  // Of a message to very many it would be much.
  std::string().swap(message.address);
  std::vector<BackupAddress>().swap(message.addresses);
  const std::string mark = import_mark_of(message, people, text);
  // A message to very many keeps each of these steps busy.
  throw_if_interrupted();
  reason = skipReasonIfKnown(message, people, text, mark);
  if (!reason.empty()) {
    skip(message, reason);
    return;
  }

  Message stored = stored_message(message, text);
  stored.addresses = addresses_of(participantsOf(people));
  throw_if_interrupted();
  people = {};
  const int convId = _writer->conversationOf(stored);
  throw_if_interrupted();
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
        part.payload, std::to_string(msgId) + "-" + std::to_string(index), "." + type.extension);
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
  const bool isFirstOfItsKind = _problems.insert(problem).second;
  if (isFirstOfItsKind || _summary.reports.size() < MOST_REPORTS) {
    _summary.reports.push_back({line, index, part.contentType, problem});
  }
}

}  // namespace

long ImportSummary::skippedInAll() const {
  long messages = 0;
  for (const auto& [reason, those] : skipped) messages += those.count;
  return messages;
}

bool ImportSummary::isCountFarOff() const {
  constexpr long FEW = 5;
  constexpr long SHARE = 20;
  if (!count) return false;
  const long difference = std::abs(*count - read);
  return difference >= FEW && difference >= std::max(*count, read) / SHARE;
}

ImportSummary import_backup(const std::string& path, const ImportOptions& options) {
  wait_interruptibly();
  return interruptible("nothing was imported", [&] {
    const BackupFile file(path, [] { wait_for_input(STDIN_FILENO); });
    if (is_export(file)) return restore_export(file, options);
    if (!options.media.empty()) {
      throw UsageError(file.name() + " is no export; --media is only for what an export left out");
    }
    try {
      return Import(file, &read_backup, options).run();
    } catch (const BackupDamage&) {
      if (!options.keepsGoing) throw;
    }
    return Import(file, &read_damaged_backup, options).run();
  });
}

}  // namespace msg_tarvel::tool
