#pragma once

#include <msg-tarvel-common/item/Message.h>

#include "print/json.h"
#include "print/listed_thread.h"
#include "print/output.h"
#include "print/table.h"

namespace msg_tarvel::tool {

// Items as tables or, where that is asked for, as JSON, which is printed item by item.

class ThreadList {
 public:
  explicit ThreadList(const Output& output);
  void add(const ListedThread& listed);
  void end();

 private:
  const Output& _output;
  JsonList _json;
  Table _table;
};

class MessageList {
 public:
  explicit MessageList(const Output& output);
  void add(const Message& message);
  void end();

 private:
  const Output& _output;
  JsonList _json;
  Table _table;
};

/** Messages with all that a person may ask about them, a paragraph for each. */
class MessagePages {
 public:
  explicit MessagePages(const Output& output) : _output(output), _json(output.out) {}
  void add(const Message& message);
  void end();

 private:
  const Output& _output;
  JsonList _json;
  bool _isEmpty = true;
};

}  // namespace msg_tarvel::tool
