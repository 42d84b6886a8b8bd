#include "export/phone_xml.h"

#include <glib.h>
#include <msg-tarvel-common/item/FolderType.h>

#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "backup/backup_reader.h"
#include "backup/base64.h"
#include "export/media_files.h"
#include "export/row_json.h"
#include "filter/folder_words.h"
#include "helpers/network_status.h"
#include "import/media_type.h"
#include "interrupt.h"

namespace msg_tarvel::tool {

namespace {

// Any column of a store can have any value: each is read as what it means to the library, of a BLOB
// its bytes.

std::string selected(std::initializer_list<const char*> texts,
                     std::initializer_list<const char*> numbers) {
  std::string columns;
  const auto select = [&columns](const std::string& column, const char* type) {
    columns += (columns.empty() ? "CAST(" : ", CAST(") + column + " AS " + type + ") AS " + column;
  };
  for (const char* const column : texts) select(column, "TEXT");
  for (const char* const column : numbers) select(column, "INTEGER");
  return "SELECT " + columns;
}

std::string select_message() {
  return selected({"msgType", "mainText", "textMessage", "peerGroupChatSender"},
                  {"msgId", "storageFolder", "networkStatus", "displayTime", "read", "simIndex",
                   "stickerId", "isSafeMessage", "isShareDialMessage"}) +
         ", convId, EXISTS (SELECT 1 FROM msg_nms_meta_table AS n WHERE n.msgId = m.msgId) AS "
         "hasMetadata, EXISTS (SELECT 1 FROM msg_mms_content_table AS c WHERE c.msgId = m.msgId) "
         "AS hasParts FROM msg_message_table AS m WHERE msgId = ?;";
}

std::string select_addresses() {
  return selected({"address"}, {"recipientType"}) +
         " FROM msg_address_table WHERE convId = ? AND length(CAST(address AS BLOB)) > 0 "
         "ORDER BY addressId;";
}

std::string select_contents() {
  return selected({"contentType", "textData", "filename", "filepath", "thumbpath"}, {"slideIdx"}) +
         " FROM msg_mms_content_table WHERE msgId = ? ORDER BY contentId;";
}

/** What phones write where the owner's number would stand. */
constexpr const char* THE_OWNER = "insert-address-token";

/** What they write where there is none. */
constexpr const char* WORD_FOR_NONE = "null";

constexpr const char* CHARACTERS = "characters that XML does not have";

constexpr const char* OTHER_FOLDERS = "messages in folders that phones do not have";

/** A phone's box; none for folders that phones do not have. */
const char* box_of(long long folder, long long networkStatus) {
  switch (folder) {
    case MAIN_FOLDER_1:
    case STANDALONE_FOLDER_1:
      return "1";
    case MAIN_FOLDER_2:
    case STANDALONE_FOLDER_2:
      if (networkStatus == helpers::NETWORK_FAILED) return "5";
      return networkStatus == helpers::NETWORK_SENDING ? "4" : "6";
    case MAIN_FOLDER_3:
    case STANDALONE_FOLDER_3:
      return "2";
    case MAIN_FOLDER_4:
    case STANDALONE_FOLDER_4:
      return "3";
    default:
      return nullptr;
  }
}

/** The kind of an <addr>, as its reader takes it. */
int kind_of_recipient(long long recipientType) {
  if (recipientType == 2) return ADDRESS_CC;
  return recipientType == 3 ? ADDRESS_BCC : ADDRESS_TO;
}

/** Of a row; what is not UTF-8 as it is. Empty for NULL. */
std::string text_in(const Json& row, const char* column) {
  const Json& value = row.at(column);
  if (value.is_string()) return value.get<std::string>();
  if (value.is_object()) return bytes_of_base64(value.at("text").get<std::string>());
  return value.is_null() ? "" : value.dump();
}

/** Of a row; 0 for NULL. */
long long number_in(const Json& row, const char* column) {
  const Json& value = row.at(column);
  return value.is_null() ? 0 : value.get<long long>();
}

/** The type of a content; a text alone that has none is a plain one, or nobody would read it. */
std::string type_of(const Json& content) {
  const std::string type = text_in(content, "contentType");
  const bool isText = !text_in(content, "textData").empty() && text_in(content, "filepath").empty();
  return type.empty() && isText ? "text/plain" : type;
}

/** Whether phones take the address for nobody's, or for those of several people. */
bool is_misread(const std::string& address) {
  return address == WORD_FOR_NONE || address == THE_OWNER || address.find('~') != std::string::npos;
}

/** Whether a character would act on a terminal; what joins emoji does not. */
bool is_unseen(gunichar character) {
  const GUnicodeType type = g_unichar_type(character);
  return (type == G_UNICODE_CONTROL || type == G_UNICODE_FORMAT) && character != 0x200D;
}

/** What of a message's text phones take from this part. */
std::string plain_text_in(const Json& content) {
  return media_type_of(type_of(content)).isPlainText() ? text_in(content, "textData") : "";
}

/** Of a conversation. */
struct Person {
  std::string address;
  int kind;
};
using People = std::vector<Person>;

using Attributes = std::vector<std::pair<const char*, std::string>>;

class XmlWriter {
 public:
  XmlWriter(const Database& database, std::string media, std::ostream& out)
      : _media(std::move(media)),
        _out(out),
        _message(database.query(select_message())),
        _addresses(database.query(select_addresses())),
        _contents(database.query(select_contents())) {}

  LeftOut write(const MessageFilter& filter) {
    const long count = _count(filter);
    _out << "<?xml version='1.0' encoding='UTF-8' standalone='yes' ?>\n<smses count=\"" << count
         << "\">\n";
    MatchingMessages messages(filter);
    while (const auto id = messages.next()) {
      throw_if_interrupted();
      _writeMessage(_row(*id));
    }
    _out << "</smses>\n";
    return _leftOut;
  }

 private:
  /** The number stands before the messages. */
  long _count(const MessageFilter& filter) {
    long count = 0;
    MatchingMessages messages(filter);
    while (const auto id = messages.next()) {
      throw_if_interrupted();
      if (_boxOf(_row(*id))) ++count;
    }
    return count;
  }

  static const char* _boxOf(const Json& message) {
    return box_of(number_in(message, "storageFolder"), number_in(message, "networkStatus"));
  }

  Json _row(long long msgId) {
    _message.reset();
    _message.bind(1, msgId);
    if (!_message.next()) throw DatabaseFailure(SQLITE_CORRUPT);
    Json row = row_of(_message);
    _message.reset();
    return row;
  }

  void _writeMessage(const Json& message) {
    if (!_boxOf(message)) {
      ++_leftOut[OTHER_FOLDERS];
      return;
    }
    _noteWhatHasNoPlace(message);
    const People people = _peopleOf(message);
    const bool isGroup = people.size() > 1;
    const bool hasParts = number_in(message, "hasParts") != 0;
    const std::string type = text_in(message, "msgType");
    const bool isMultimedia = type == "mms";
    if (!isMultimedia && isGroup) {
      ++_leftOut["texts to groups, which became multimedia messages: their kind"];
    } else if (!isMultimedia && hasParts) {
      ++_leftOut["texts with parts, which became multimedia messages: their kind"];
    } else if (!isMultimedia && type != "sms") {
      ++_leftOut["kinds of messages beside sms and mms"];
    }
    if (isMultimedia || isGroup || hasParts) {
      _writeMms(message, people);
    } else {
      _writeSms(message, people);
    }
  }

  void _noteWhatHasNoPlace(const Json& message) {
    if (number_in(message, "hasMetadata") != 0) ++_leftOut["messages' network store metadata"];
    if (number_in(message, "storageFolder") > MAIN_FOLDER_5) ++_leftOut["standalone folders"];
    if (number_in(message, "stickerId") != 0) ++_leftOut["stickers"];
    if (number_in(message, "isSafeMessage") != 0) ++_leftOut["safe-message flags"];
    if (number_in(message, "isShareDialMessage") != 0) ++_leftOut["share-dial flags"];
  }

  People _peopleOf(const Json& message) {
    People people;
    _addresses.reset();
    bind_json(_addresses, 1, message.at("convId"));
    while (_addresses.next()) {
      const Json row = row_of(_addresses);
      if (is_misread(text_in(row, "address"))) ++_leftOut["addresses that phones misread"];
      people.push_back(
          {text_in(row, "address"), kind_of_recipient(number_in(row, "recipientType"))});
    }
    return people;
  }

  /** Of a message whose subject is its text, phones have none. */
  std::string _subjectOf(const Json& message) {
    std::string subject = text_in(message, "mainText");
    if (subject.empty() || subject == text_in(message, "textMessage")) return WORD_FOR_NONE;
    if (subject == WORD_FOR_NONE) ++_leftOut["subjects that are the word for none"];
    return subject;
  }

  void _writeSms(const Json& message, const People& people) {
    _open("sms", {{"protocol", "0"},
                  {"address", people.empty() ? "" : people.front().address},
                  {"date", std::to_string(number_in(message, "displayTime"))},
                  {"type", _boxOf(message)},
                  {"subject", _subjectOf(message)},
                  {"body", text_in(message, "textMessage")},
                  {"toa", "null"},
                  {"sc_toa", "null"},
                  {"service_center", "null"},
                  {"read", number_in(message, "read") != 0 ? "1" : "0"},
                  {"status", "-1"},
                  {"locked", "0"},
                  {"date_sent", "0"},
                  {"sub_id", text_in(message, "simIndex")},
                  {"contact_name", "(Unknown)"}});
    _out << " />\n";
  }

  void _writeMms(const Json& message, const People& people) {
    const bool isReceived = _boxOf(message) == std::string("1");
    std::string list;
    for (const Person& person : people) list += (list.empty() ? "" : "~") + person.address;
    _open("mms", {{"date", std::to_string(number_in(message, "displayTime"))},
                  {"sub", _subjectOf(message)},
                  {"ct_t", "application/vnd.wap.multipart.related"},
                  {"msg_box", _boxOf(message)},
                  {"address", list},
                  {"read", number_in(message, "read") != 0 ? "1" : "0"},
                  {"m_type", isReceived ? "132" : "128"},
                  {"sub_id", text_in(message, "simIndex")},
                  {"contact_name", "(Unknown)"}});
    _out << ">\n<parts>\n";
    _writeParts(message);
    _out << "</parts>\n<addrs>\n";
    _writeAddresses(message, people, isReceived);
    _out << "</addrs>\n</mms>\n";
  }

  void _writeParts(const Json& message) {
    std::string texts;
    _contents.reset();
    _contents.bind(1, number_in(message, "msgId"));
    while (_contents.next()) {
      const Json content = row_of(_contents);
      const std::string text = plain_text_in(content);
      texts += (texts.empty() || text.empty() ? "" : "\n") + text;
      _writePart(content);
    }
    const std::string text = text_in(message, "textMessage");
    if (texts.find(text) != std::string::npos) return;
    if (!texts.empty()) {
      ++_leftOut["texts of messages that their parts do not have"];
      return;
    }
    _open("part", {{"seq", "0"}, {"ct", "text/plain"}, {"cl", "text.txt"}, {"text", text}});
    _out << " />\n";
  }

  void _writePart(const Json& content) {
    const std::string name = text_in(content, "filename");
    const std::string text = text_in(content, "textData");
    const std::string path = text_in(content, "filepath");
    const std::string type = type_of(content);
    const char* const why = path.empty() ? nullptr : why_left_out(path, _media);
    if (why) ++_leftOut[why];
    const bool hasFile = !path.empty() && !why;
    // Of a text without a file the word is one, and not what stands for none.
    const bool isText = !hasFile && media_type_of(type).name.rfind("text/", 0) == 0;
    _open("part", {{"seq", text_in(content, "slideIdx")},
                   {"ct", type},
                   {"name", name},
                   {"cl", name},
                   {"text", text.empty() && !isText ? WORD_FOR_NONE : text}});
    if (!text_in(content, "thumbpath").empty()) ++_leftOut["thumbnails"];
    if (hasFile) {
      MediaFile file(_media, *name_in_media(path, _media));
      _out << " data=\"";
      encode_media(file, [this](std::string_view base64) { _out << base64; });
      _out << "\"";
    }
    _out << " />\n";
  }

  void _writeAddresses(const Json& message, const People& people, bool isReceived) {
    std::string sender = text_in(message, "peerGroupChatSender");
    if (sender.empty() && !people.empty()) sender = people.front().address;
    if (!isReceived) sender = THE_OWNER;
    _writeAddress(sender, ADDRESS_FROM);
    for (const Person& person : people) {
      if (person.address != sender) _writeAddress(person.address, person.kind);
    }
  }

  void _writeAddress(const std::string& address, int type) {
    _open("addr", {{"address", address}, {"type", std::to_string(type)}, {"charset", "106"}});
    _out << " />\n";
  }

  void _open(const char* element, const Attributes& attributes) {
    _out << "<" << element;
    for (const auto& [name, value] : attributes) {
      _out << " " << name << "=\"" << _escaped(value) << "\"";
    }
  }

  std::string _escaped(const std::string& text) {
    std::string escaped;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at < end) {
      const gunichar character = *at == '\0' ? 0 : g_utf8_get_char_validated(at, end - at);
      const char* const next =
          character == 0 || character >= 0x110000 ? at + 1 : g_utf8_next_char(at);
      _escape(character, std::string(at, next), escaped);
      at = next;
    }
    return escaped;
  }

  void _escape(gunichar character, const std::string& bytes, std::string& escaped) {
    const bool isMarkup = character == '&' || character == '<' || character == '>' ||
                          character == '"' || character == '\t' || character == '\n' ||
                          character == '\r';
    if (!isMarkup &&
        (character < 0x20 || character == 0xFFFE || character == 0xFFFF || character >= 0x110000)) {
      escaped += "\xEF\xBF\xBD";
      ++_leftOut[CHARACTERS];
    } else if (isMarkup || is_unseen(character)) {
      escaped += "&#" + std::to_string(character) + ";";
    } else {
      escaped += bytes;
    }
  }

  const std::string _media;
  std::ostream& _out;
  Rows _message;
  Rows _addresses;
  Rows _contents;
  LeftOut _leftOut;
};

/** Of a whole store, what is no message that lists show. */
void count_the_rest(const Database& database, LeftOut& leftOut) {
  const auto count = [&](const std::string& rows, const std::string& label) {
    const long long number = database.number("SELECT count(*) FROM " + rows + ";");
    if (number > 0) leftOut[label] += static_cast<long>(number);
  };
  count("msg_message_table WHERE (" + folder_condition("") + ") IS NOT 1", OTHER_FOLDERS);
  for (const std::string table :
       {"msg_sim_table", "deleted_msg_table", "msg_ft_content_table", "ft_queue_table", "temp_log",
        "message_transaction_table", "respond_msg_table", "msg_sharedial_meta_table"}) {
    count(table, "rows of " + table);
  }
}

}  // namespace

LeftOut write_phone_xml(const Database& database, const std::string& media,
                        const MessageFilter& filter, std::ostream& out) {
  try {
    LeftOut leftOut = XmlWriter(database, media, out).write(filter);
    if (is_unsaid(filter)) count_the_rest(database, leftOut);
    return leftOut;
  } catch (const DatabaseFailure& failure) {
    throw Failure(std::string("cannot export the message store: ") + failure.what());
  }
}

}  // namespace msg_tarvel::tool
