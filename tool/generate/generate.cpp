// What a person's watch has after three years. The shares below are guesses at a busy person's
// messages; what matters is that whoever reads the store meets every kind of row.

#include "generate/generate.h"

#include <msg-tarvel-common/item/FolderType.h>
#include <msg-tarvel-common/item/Message.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

#include "backup/base64.h"
#include "backup/payload_stage.h"
#include "exit_status.h"
#include "generate/chance.h"
#include "generate/conversation_plan.h"
#include "generate/media.h"
#include "generate/other_tables.h"
#include "generate/people.h"
#include "generate/texts.h"
#include "helpers/network_status.h"
#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/store_indexes.h"
#include "helpers/store_writer.h"
#include "helpers/transaction.h"
#include "import/media_type.h"
#include "interrupt.h"
#include "print/progress_bar.h"
#include "store/media.h"

namespace msg_tarvel::tool {

namespace {

using helpers::NETWORK_FAILED;
using helpers::NETWORK_NONE;
using helpers::NETWORK_SENDING;
using helpers::NETWORK_SENT;

constexpr std::int64_t FIRST_TIME = 1646092800000;  // 2022-03-01
constexpr std::int64_t THREE_YEARS = 3LL * 365 * 24 * 3600 * 1000;
/** How wrong the clock was for a few messages: their seconds need more than 32 bits. */
constexpr std::int64_t WRONG_CLOCK = 20LL * 365 * 24 * 3600 * 1000;
constexpr int ONE_IN_WRONG_TIME = 5000;

constexpr int CONTENT_STATUS_MISSING = 1;

constexpr int PROGRESS_STEP = 500;

/** Where messages lie, and how many in a thousand up to there. */
struct Place {
  std::size_t below;
  int folder;
  int networkStatus;
};

constexpr Place PLACES[] = {
    {530, MAIN_FOLDER_1, NETWORK_NONE},         {934, MAIN_FOLDER_3, NETWORK_SENT},
    {938, MAIN_FOLDER_2, NETWORK_FAILED},       {939, MAIN_FOLDER_2, NETWORK_SENDING},
    {946, MAIN_FOLDER_4, NETWORK_NONE},         {953, MAIN_FOLDER_5, NETWORK_NONE},
    {970, STANDALONE_FOLDER_1, NETWORK_NONE},   {986, STANDALONE_FOLDER_3, NETWORK_SENT},
    {989, STANDALONE_FOLDER_2, NETWORK_FAILED}, {990, STANDALONE_FOLDER_2, NETWORK_SENDING},
    {995, STANDALONE_FOLDER_4, NETWORK_NONE},   {1000, STANDALONE_FOLDER_5, NETWORK_NONE},
};

/** A conversation while its messages are written. */
struct WrittenThread {
  PlannedConversation plan;
  int convId;
  Language language;
};

class Generator {
 public:
  Generator(const GenerateOptions& options, PayloadStage& stage)
      : _options(options), _chance(options.seed), _stage(stage) {}

  GeneratedStore run() {
    _makeConversations();
    int number = 0;
    for (const std::size_t thread : _order()) {
      _addMessage(_threads[thread], ++number);
      if (number % PROGRESS_STEP != 0) continue;
      throw_if_interrupted();
      _bar.update("generating", number, _options.messages);
    }
    _writer.updateConversations();
    fill_other_tables(_chance);
    _made.messages = number;
    _made.conversations = static_cast<int>(_threads.size());
    return _made;
  }

 private:
  void _makeConversations();
  std::vector<std::size_t> _order();
  void _addMessage(const WrittenThread& thread, int number);
  std::int64_t _nextTime(int number);
  void _place(const WrittenThread& thread, Message& message);
  void _addText(const WrittenThread& thread, Message& message);
  void _addGroup(const WrittenThread& thread, Message& message);
  void _addMetadata(Message& message);
  void _addParts(const WrittenThread& thread, int msgId, const Message& message);
  void _addMedium(int msgId, int index);
  std::string _keep(const std::string& bytes, const std::string& baseName,
                    const std::string& extension);

  const GenerateOptions _options;
  Chance _chance;
  PayloadStage& _stage;
  helpers::StoreWriter _writer;
  ProgressBar _bar;
  std::vector<WrittenThread> _threads;
  std::int64_t _time = FIRST_TIME;
  GeneratedStore _made;
};

void Generator::_makeConversations() {
  const int count =
      _options.conversations > 0 ? _options.conversations : usual_conversations(_options.messages);
  for (PlannedConversation& plan : plan_conversations(count, _options.messages, _chance)) {
    Message first;
    for (const std::string& member : plan.members) {
      Address address;
      address.address = member;
      address.addressType = helpers::address_type_of(member);
      address.recipientType = 1;
      first.addresses.push_back(std::move(address));
    }
    if (plan.kind == PlannedConversation::Kind::GROUP) {
      first.peerChatType = true;
      first.peerChatSessionId = "session-" + token(_chance, 16);
      first.peerConvId = _chance.between(1, 9999);
    }
    const int convId = _writer.conversationOf(first);
    _threads.push_back({std::move(plan), convId, Language(_chance)});
  }
}

/** The conversation of each message in the order in which the messages came. */
std::vector<std::size_t> Generator::_order() {
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < _threads.size(); ++i) {
    order.insert(order.end(), static_cast<std::size_t>(_threads[i].plan.messages), i);
  }
  _chance.shuffle(order);
  return order;
}

void Generator::_addMessage(const WrittenThread& thread, int number) {
  const bool isGroup = thread.plan.kind == PlannedConversation::Kind::GROUP;
  const bool isService = thread.plan.kind == PlannedConversation::Kind::SERVICE;
  Message message;
  message.itemId = number;
  message.displayTime = _nextTime(number);
  message.msgType = !isService && _chance.inThousand(isGroup ? 250 : 60) ? "mms" : "sms";
  message.simIndex = _chance.inThousand(300) ? 2 : 1;
  message.stickerId = _chance.inThousand(10) ? _chance.between(1, 500) : 0;
  message.isShareDialMessage = _chance.inThousand(5);
  message.isSafeMessage = _chance.inThousand(5);
  _place(thread, message);
  _addText(thread, message);
  if (isGroup) _addGroup(thread, message);
  if (_chance.inThousand(200)) _addMetadata(message);
  const bool isMultimedia = message.msgType == "mms";
  // The first part is the text.
  message.attachedNum = isMultimedia ? _chance.between(0, 3) : 0;
  helpers::MessageOrigin origin;
  origin.isSynced = !_chance.inThousand(20);
  const int msgId = _writer.addMessage(thread.convId, message, origin);
  if (isMultimedia) _addParts(thread, msgId, message);
}

/** Four in a hundred messages have the time of the one before. */
std::int64_t Generator::_nextTime(int number) {
  const auto step = static_cast<std::uint64_t>(THREE_YEARS / _options.messages);
  if (!_chance.inThousand(40)) _time += 1 + static_cast<std::int64_t>(_chance.next() % (2 * step));
  const int sinceHalf = number - _options.messages / 2;
  const bool isWrong = sinceHalf >= 0 && sinceHalf <= _options.messages / ONE_IN_WRONG_TIME;
  return isWrong ? _time + WRONG_CLOCK : _time;
}

void Generator::_place(const WrittenThread& thread, Message& message) {
  const bool isAnswered = thread.plan.kind == PlannedConversation::Kind::PERSON ||
                          thread.plan.kind == PlannedConversation::Kind::GROUP;
  const std::size_t choice = isAnswered ? _chance.below(1000) : 0;
  const Place& place = *std::find_if(std::begin(PLACES), std::end(PLACES),
                                     [choice](const Place& one) { return choice < one.below; });
  message.storageFolder = place.folder;
  message.networkStatus = place.networkStatus;
  const bool isReceived = place.folder == MAIN_FOLDER_1 || place.folder == STANDALONE_FOLDER_1;
  message.read = !isReceived || !_chance.inThousand(50);
}

void Generator::_addText(const WrittenThread& thread, Message& message) {
  message.textMessage = thread.plan.kind == PlannedConversation::Kind::SERVICE
                            ? service_text(_chance)
                            : thread.language.text(_chance);
  const bool hasSubject = message.msgType == "mms" && _chance.inThousand(300);
  message.mainText = hasSubject ? thread.language.text(_chance) : message.textMessage;
}

void Generator::_addGroup(const WrittenThread& thread, Message& message) {
  message.peerChatType = true;
  const bool isReceived = message.storageFolder == MAIN_FOLDER_1;
  if (isReceived) message.peerGroupChatSender = _chance.oneOf(thread.plan.members);
}

void Generator::_addMetadata(Message& message) {
  NmsMsgMeta& meta = message.nmsMsgMeta;
  const std::string id = std::to_string(1000000 + message.itemId);
  meta.objectId = "object-" + id;
  meta.primaryId = "primary-" + id;
  meta.secondaryId = "secondary-" + id;
  meta.resourceURL = "https://nms.example.org/store/objects/" + id;
  meta.lastModSeq = message.itemId;
  meta.msgTime = message.displayTime;
  meta.BTCorrelated = _chance.inThousand(20) ? 0 : 1;
  meta.MSSICorrelated = _chance.inThousand(20) ? 0 : 1;
  meta.MSSISync = _chance.inThousand(10);
  meta.deleted = _chance.inThousand(10);
  meta.downloadRequired = _chance.inThousand(10);
}

void Generator::_addParts(const WrittenThread& thread, int msgId, const Message& message) {
  Content text;
  text.contentType = "text/plain";
  text.mediaType = MEDIA_TEXT;
  text.filename = "text_0.txt";
  text.textData = thread.plan.kind == PlannedConversation::Kind::NOBODY ? "" : message.textMessage;
  _writer.addContent(msgId, text, 0);
  for (int index = 1; index <= message.attachedNum; ++index) _addMedium(msgId, index);
}

void Generator::_addMedium(int msgId, int index) {
  const Medium medium = make_medium(_chance);
  const MediaType type = media_type_of(medium.contentType);
  const std::string baseName = std::to_string(msgId) + "-" + std::to_string(index);
  Content content;
  content.slideIdx = index;
  content.contentType = medium.contentType;
  content.mediaType = type.mediaType;
  content.attachType = true;
  content.filename = medium.name;
  if (_chance.inThousand(20)) {
    content.status = CONTENT_STATUS_MISSING;
    _writer.addContent(msgId, content, 0);
    return;
  }
  content.hasFile = true;
  content.filepath = _keep(medium.bytes, baseName, type.extension);
  if (type.name == "image/jpeg") {
    content.thumbpath = _keep(make_jpeg(_chance), baseName + "-thumbnail", "jpg");
  }
  if (_chance.inThousand(300)) {
    content.peer_filepath = "/storage/peer/" + medium.name;
    content.peer_copied_filepath = "/storage/peer/copy/" + medium.name;
  }
  _writer.addContent(msgId, content, static_cast<long long>(medium.bytes.size()));
}

std::string Generator::_keep(const std::string& bytes, const std::string& baseName,
                             const std::string& extension) {
  const std::string text = base64_of(bytes);
  ++_made.files;
  return _stage.keep(_stage.decode(text.data(), text.size()), baseName, "." + extension);
}

void require_empty_store() {
  if (helpers::number("SELECT EXISTS (SELECT 1 FROM msg_message_table) "
                      "OR EXISTS (SELECT 1 FROM msg_conversation_table);",
                      helpers::CANNOT_READ) != 0) {
    throw Failure("the store has messages or conversations; generate fills an empty one");
  }
}

GeneratedStore fill_store(const GenerateOptions& options) {
  std::optional<helpers::Transaction> transaction(std::in_place);
  require_empty_store();
  settle_left_files(media_directory());
  PayloadStage stage(media_directory());
  const std::vector<std::string> indexes = helpers::set_indexes_aside();
  const GeneratedStore made = Generator(options, stage).run();
  helpers::restore_indexes(indexes);
  if (!options.withoutIndexes) helpers::make_indexes();
  throw_if_interrupted();
  commit_with_files(transaction, stage);
  return made;
}

}  // namespace

GeneratedStore generate_store(const GenerateOptions& options) {
  if (options.conversations > options.messages) {
    throw UsageError("each conversation has a message: more --conversations than --messages");
  }
  return interruptible("nothing was generated", [&] { return fill_store(options); });
}

}  // namespace msg_tarvel::tool
