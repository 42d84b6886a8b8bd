#pragma once

#include <msg-tarvel-common/item/Address.h>
#include <msg-tarvel-common/item/Conversation.h>
#include <msg-tarvel-common/item/Message.h>

#include <vector>

#include "print/listed_thread.h"
#include "print/output.h"

namespace msg_tarvel::tool {

// Items as tables or, where that is asked for, as JSON.

/** Without conversations a sentence stands in the place of the table. */
void print_threads(const Output& output, const std::vector<ListedThread>& threads);
/** One conversation; `thread.lastMsgId` is valid. */
void print_thread(const Output& output, const ListedThread& listed);
/** The messages of one conversation, whose participants are `addresses`. */
void print_conversation(const Output& output, const std::vector<Conversation>& messages,
                        const std::vector<Address>& addresses);
void print_messages(const Output& output, const std::vector<Message>& messages);

}  // namespace msg_tarvel::tool
