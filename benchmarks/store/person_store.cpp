// What a person's watch has after some years. The shares below are guesses at a busy person's
// messages; what matters is that every way of reading meets every kind of message.

#include "store/person_store.h"

#include <msg-tarvel-common/item/FolderType.h>
#include <msg-tarvel-common/item/Message.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_maker.h"
#include "helpers/store_writer.h"
#include "helpers/transaction.h"

namespace msg_tarvel::bench {

namespace {

constexpr std::uint64_t SEED = 20250303;
constexpr int MOST_MESSAGES = 100000;
constexpr int MOST_CONVERSATIONS = 600;
/** With it the biggest of 600 conversations has a twentieth of all messages. */
constexpr double ZIPF_EXPONENT = 0.7;
constexpr int SMALL_CONVERSATION = 20;

constexpr std::int64_t FIRST_TIME = 1646000000000;
constexpr std::int64_t THREE_YEARS = 3LL * 365 * 24 * 3600 * 1000;

constexpr const char* CANNOT_FILL = "cannot fill the store";

/** Numbers that are the same on every machine, which those of the standard distributions are not.
 */
class Chance {
 public:
  /** 0 to `limit` - 1 */
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(_engine() % limit); }
  bool inThousand(std::size_t share) { return below(1000) < share; }

  template <typename List>
  const auto& oneOf(const List& list) {
    return list[below(std::size(list))];
  }

  template <typename Value>
  void shuffle(std::vector<Value>& values) {
    for (std::size_t i = values.size(); i > 1; --i) std::swap(values[i - 1], values[below(i)]);
  }

 private:
  std::mt19937_64 _engine{SEED};
};

/** How many messages each conversation has, the biggest first, some of twenty last. */
std::vector<int> conversation_sizes(int messages) {
  const double share = static_cast<double>(messages) / MOST_MESSAGES;
  const auto count = static_cast<std::size_t>(MOST_CONVERSATIONS * std::sqrt(share));
  const std::size_t small = std::max<std::size_t>(count / 30, 1);

  std::vector<double> weights;
  weights.reserve(count);
  for (std::size_t rank = 1; rank <= count - small; ++rank) {
    weights.push_back(std::pow(static_cast<double>(rank), -ZIPF_EXPONENT));
  }
  const int shared = messages - static_cast<int>(small) * SMALL_CONVERSATION;
  const double unit = shared / std::accumulate(weights.begin(), weights.end(), 0.0);

  std::vector<int> sizes;
  sizes.reserve(count);
  for (const double weight : weights) sizes.push_back(static_cast<int>(unit * weight));
  sizes.front() -= sizes.front() % (messages / 100);
  // What rounding left over, one for each but the biggest.
  int left = shared - std::accumulate(sizes.begin(), sizes.end(), 0);
  for (std::size_t i = 1; left > 0; i = i + 1 < sizes.size() ? i + 1 : 1, --left) ++sizes[i];
  sizes.insert(sizes.end(), small, SMALL_CONVERSATION);
  return sizes;
}

class Writer {
 public:
  explicit Writer(int messages) : _sizes(conversation_sizes(messages)), _messages(messages) {}

  void write() {
    _makeConversations();
    for (const std::size_t conversation : _order()) _addMessage(conversation);
    _writer.updateConversations();
    _addTheRest();
  }

 private:
  struct Group {
    int convId;
    std::vector<std::string> members;
  };

  void _makeConversations() {
    int number = 0;
    for (std::size_t i = 0; i < _sizes.size(); ++i) {
      Message first;
      // One in seven is a group.
      const std::size_t members = i % 7 == 3 ? 3 + _chance.below(6) : 1;
      std::vector<std::string> texts;
      while (texts.size() < members) {
        Address person;
        person.address = "+1415555" + std::to_string(10000 + ++number);
        person.addressType = helpers::ADDRESS_TYPE_NUMBER;
        person.recipientType = 1;
        texts.push_back(person.address);
        first.addresses.push_back(person);
      }
      _groups.push_back({_writer.conversationOf(first), std::move(texts)});
    }
  }

  /** The conversation of each message in the order in which the messages came. */
  std::vector<std::size_t> _order() {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < _sizes.size(); ++i) {
      order.insert(order.end(), static_cast<std::size_t>(_sizes[i]), i);
    }
    _chance.shuffle(order);
    return order;
  }

  void _addMessage(std::size_t conversation) {
    const Group& group = _groups[conversation];
    Message message;
    message.itemId = ++_number;
    message.displayTime = _nextTime();
    message.msgType = _chance.inThousand(group.members.size() > 1 ? 250 : 60) ? "mms" : "sms";
    message.simIndex = _chance.inThousand(300) ? 2 : 1;
    message.textMessage = _text();
    message.mainText = message.textMessage;
    message.stickerId = _chance.inThousand(10) ? static_cast<int>(_chance.below(500)) : 0;
    message.isShareDialMessage = _chance.inThousand(5);
    message.isSafeMessage = _chance.inThousand(5);
    _place(message);
    if (group.members.size() > 1 && message.storageFolder == MAIN_FOLDER_1) {
      message.peerChatType = true;
      message.peerGroupChatSender = _chance.oneOf(group.members);
    }
    if (message.msgType == "mms") _addContents(message);
    if (_chance.inThousand(200)) _addMetadata(message);

    helpers::MessageOrigin origin;
    origin.isSynced = !_chance.inThousand(20);
    _writer.addMessage(group.convId, message, origin);
  }

  /** Four in a hundred messages have the time of the one before. */
  std::int64_t _nextTime() {
    const auto step = static_cast<std::size_t>(THREE_YEARS / _messages);
    if (!_chance.inThousand(40)) _time += 1 + static_cast<std::int64_t>(_chance.below(2 * step));
    return _time;
  }

  std::string _text() {
    constexpr std::array WORDS = {"and",  "the",    "are you",   "train",  "at seven",
                                  "café", "thanks", "tomorrow",  "좋아요", "👍",
                                  "home", "late",   "on my way", "where",  "with the children"};
    std::string text;
    for (std::size_t words = 3 + _chance.below(14); words > 0; --words) {
      text += _chance.oneOf(WORDS);
      text += ' ';
    }
    text.pop_back();
    return text;
  }

  /** Puts the message into its folder, with what goes with it. */
  void _place(Message& message) {
    message.read = true;
    const std::size_t place = _chance.below(1000);
    if (place < 540) {
      message.storageFolder = MAIN_FOLDER_1;
      message.read = !_chance.inThousand(50);
    } else if (place < 950) {
      message.storageFolder = MAIN_FOLDER_3;
    } else if (place < 958) {
      message.storageFolder = MAIN_FOLDER_2;
      message.networkStatus = place < 956 ? 3 : 1;
    } else if (place < 965) {
      message.storageFolder = MAIN_FOLDER_4;
    } else if (place < 970) {
      message.storageFolder = MAIN_FOLDER_5;
    } else {
      message.storageFolder = place < 990 ? STANDALONE_FOLDER_1 : STANDALONE_FOLDER_3;
    }
  }

  void _addContents(Message& message) {
    const std::string stem = "/opt/usr/media/messages/" + std::to_string(_number) + "-";
    const std::size_t count = 1 + _chance.below(4);
    for (std::size_t i = 0; i < count; ++i) {
      Content& content = message.contents.emplace_back();
      content.slideIdx = static_cast<int>(i);
      if (i == 0) {
        content.contentType = "text/plain";
        content.mediaType = 4;
        content.textData = _text();
        continue;
      }
      content.contentType = "image/jpeg";
      content.mediaType = 1;
      content.attachType = true;
      content.hasFile = true;
      content.filename = "picture" + std::to_string(i) + ".jpg";
      content.filepath = stem + content.filename;
      content.thumbpath = stem + "thumb" + std::to_string(i) + ".jpg";
    }
    message.attachedNum = static_cast<int>(count) - 1;
  }

  void _addMetadata(Message& message) {
    const std::string id = std::to_string(1000000 + _number);
    NmsMsgMeta& meta = message.nmsMsgMeta;
    meta.objectId = "object-" + id;
    meta.primaryId = "primary-" + id;
    meta.secondaryId = "secondary-" + id;
    meta.resourceURL = "https://nms.example.org/store/objects/" + id;
    meta.lastModSeq = _number;
    meta.msgTime = message.displayTime;
    meta.BTCorrelated = _chance.inThousand(20) ? 0 : 1;
    meta.MSSICorrelated = _chance.inThousand(20) ? 0 : 1;
    meta.MSSISync = _chance.inThousand(10);
    meta.downloadRequired = _chance.inThousand(10);
  }

  /** The tables that a few rows stand in. */
  void _addTheRest() const {
    helpers::execute(
        "INSERT INTO msg_sim_table (simIndex, storageId, Imsi, Address) VALUES "
        "(1, 1, '310150123456789', '+14155550100'), (2, 1, '450051234567890', '+14155550101');"
        "INSERT INTO msg_ft_content_table (msgId, status, filepath, filename, contentType) "
        "SELECT msgId, 0, filepath, filename, 'json_msg' FROM msg_mms_content_table "
        "WHERE hasFile = 1 AND msgId % 10 = 0;"
        "INSERT INTO deleted_msg_table (msgId, msgType, itemId, storageFolder, displayTime) "
        "SELECT msgId + 1000000, msgType, itemId, storageFolder, displayTime "
        "FROM msg_message_table WHERE msgId % 100 = 0;",
        CANNOT_FILL);
  }

  Chance _chance;
  std::vector<int> _sizes;
  int _messages;
  std::vector<Group> _groups;
  helpers::StoreWriter _writer;
  int _number = 0;
  std::int64_t _time = FIRST_TIME;
};

}  // namespace

void write_person_store(int messages) {
  helpers::make_store();
  helpers::Transaction transaction;
  Writer(messages).write();
  transaction.commit();
}

}  // namespace msg_tarvel::bench
