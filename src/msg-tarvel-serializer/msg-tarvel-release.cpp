// The release of what the reader made.

#include <cstdlib>

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-serializer/record_shape.h"
#include "msg-tarvel-serializer/senders_text.h"

namespace {

using msg_tarvel::wire::Shape;

// Most texts of a message are null, and so is a list: to ask is quicker than a call.

template <typename Record>
void release_texts(Record& item) {
  for (const auto member : Shape<Record>::STRINGS) {
    if (item.*member) std::free(item.*member);
    item.*member = nullptr;
  }
}

void release_block(msg_address_item_t& address) { release_texts(address); }

void release_block(msg_content_item_t& content) {
  if (auto* const meta = content.nmsContentMetaData) {
    if (msg_tarvel::wire::has_senders_text(meta)) meta->text2 = nullptr;
    release_texts(*meta);
    std::free(meta);
  }
  release_texts(content);
}

template <typename Record>
void release_list(GSList*& list) {
  for (GSList* node = list; node; node = node->next) {
    // An entry is null when there was no memory for it.
    if (auto* const item = static_cast<Record*>(node->data)) {
      release_block(*item);
      std::free(item);
    }
  }
  if (list) g_slist_free(list);
  list = nullptr;
}

}  // namespace

void msg_release_message(msg_message_item_t* item) {
  if (!item) return;
  release_texts(*item);
  release_list<msg_address_item_t>(item->addressList);
  release_list<msg_content_item_t>(item->contentList);
  msg_release_nms_msg_meta(item->nmsMsgMetaData);
  std::free(item->nmsMsgMetaData);
  item->nmsMsgMetaData = nullptr;
}

void msg_release_nms_msg_meta(msg_nms_msg_meta_data_t* meta) {
  if (meta) release_texts(*meta);
}
