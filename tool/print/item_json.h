#pragma once

#include <msg-tarvel-common/item/Conversation.h>
#include <msg-tarvel-common/item/Message.h>
#include <msg-tarvel-common/item/SimInfo.h>
#include <msg-tarvel-common/item/Thread.h>

#include <vector>

#include "print/json.h"
#include "print/listed_thread.h"

namespace msg_tarvel::tool {

// Items as JSON: every field as it is stored, under its name in the item classes.

Json to_json(const Address& address);
Json to_json(const Content& content);
Json to_json(const NmsMsgMeta& meta);
Json to_json(const Conversation& message);
Json to_json(const Message& message);
Json to_json(const SimInfo& sim);
/** Without `lastMsgId`, which most queries leave out. */
Json to_json(const Thread& thread);
Json to_json(const ListedThread& listed);

template <typename Item>
Json to_json_list(const std::vector<Item>& items) {
  Json list = Json::array();
  for (const Item& item : items) list.push_back(to_json(item));
  return list;
}

}  // namespace msg_tarvel::tool
