#pragma once

// Whether two ways gave the same: every field that a query fills. No way is timed before it did.

#include <msg-tarvel-common/item/Conversation.h>
#include <msg-tarvel-common/item/Message.h>
#include <msg-tarvel-common/item/Thread.h>

#include <cstddef>
#include <vector>

namespace msg_tarvel::bench {

bool is_same(const Address& a, const Address& b);
bool is_same(const Content& a, const Content& b);
bool is_same(const Conversation& a, const Conversation& b);
bool is_same(const Message& a, const Message& b);
bool is_same(const NmsMsgMeta& a, const NmsMsgMeta& b);
/** But for `lastMsgId`, which the elements of a list do not have. */
bool is_same(const Thread& a, const Thread& b);
inline bool is_same(bool a, bool b) { return a == b; }

template <typename Item>
bool is_same(const std::vector<Item>& a, const std::vector<Item>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!is_same(a[i], b[i])) return false;
  }
  return true;
}

}  // namespace msg_tarvel::bench
