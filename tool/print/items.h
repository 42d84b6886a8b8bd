#pragma once

#include <msg-tarvel-common/item/Address.h>
#include <msg-tarvel-common/item/Conversation.h>
#include <msg-tarvel-common/item/Message.h>
#include <msg-tarvel-common/item/Thread.h>

#include <iosfwd>
#include <string>
#include <vector>

#include "import/import.h"

namespace msg_tarvel::tool {

/** A conversation of the list, with its participants. */
struct ListedThread {
  Thread thread;
  std::vector<Address> addresses;
};

/** How a command prints: for a person, `width` columns wide, or as JSON. */
struct Output {
  std::ostream& out;
  bool json = false;
  int width = 80;
};

void print_threads(const Output& output, const std::vector<ListedThread>& threads);
/** One conversation; `thread.lastMsgId` is valid. */
void print_thread(const Output& output, const ListedThread& listed);
/** The messages of one conversation, whose participants are `addresses`. */
void print_conversation(const Output& output, const std::vector<Conversation>& messages,
                        const std::vector<Address>& addresses);
void print_messages(const Output& output, const std::vector<Message>& messages);
void print_created(const Output& output, const std::string& path, bool isNew);
void print_summary(const Output& output, const ImportSummary& summary);

}  // namespace msg_tarvel::tool
