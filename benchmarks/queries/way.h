#pragma once

#include <msg-tarvel-common/item/Conversation.h>
#include <msg-tarvel-common/item/Message.h>
#include <msg-tarvel-common/item/Thread.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace msg_tarvel::bench {

/** What follows the table's name in a SELECT, with a value for each "?". */
struct Condition {
  const char* text;
  std::vector<std::variant<std::int64_t, std::string>> values;
};

/**
 * A way to read the store that a program could have without the library: it fills the same items
 * from the same tables. Each appends to what it is given, and throws when SQLite refuses.
 */
class Way {
 public:
  Way() = default;
  Way(const Way&) = delete;
  Way& operator=(const Way&) = delete;
  virtual ~Way() = default;

  /** Whether it asks for the dependents of each row anew, each time looking at a whole table where
   * there is no index. */
  virtual bool asksRowByRow() const = 0;

  virtual void message(const Condition& condition, Message& out) = 0;
  /** With the columns one field early, as the library's lists have them. */
  virtual void messages(const Condition& condition, std::vector<Message>& out) = 0;
  virtual void thread(int convId, Thread& out) = 0;
  virtual void threads(std::vector<Thread>& out) = 0;
  virtual void conversations(int convId, std::vector<Conversation>& out) = 0;
  virtual void addresses(int convId, std::vector<Address>& out) = 0;
  virtual void contents(int msgId, std::vector<Content>& out) = 0;
  virtual void metas(const Condition& condition, std::vector<NmsMsgMeta>& out) = 0;
  virtual bool hasDownload() = 0;
};

}  // namespace msg_tarvel::bench
