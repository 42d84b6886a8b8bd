// The release of what the reader made.

#include <cstdlib>

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-serializer/record_shape.h"
#include "msg-tarvel-serializer/senders_text.h"

namespace {

using msg_tarvel::wire::Shape;

template <typename Record>
void release_texts(Record& item) {
  for (const auto member : Shape<Record>::STRINGS) {
    std::free(item.*member);
    item.*member = nullptr;
  }
}

// An entry is null when there was no memory for it.

void release_address(void* entry) {
  auto* const address = static_cast<msg_address_item_t*>(entry);
  if (address) release_texts(*address);
  std::free(address);
}

void release_content(void* entry) {
  auto* const content = static_cast<msg_content_item_t*>(entry);
  if (content) {
    if (auto* const meta = content->nmsContentMetaData) {
      if (msg_tarvel::wire::has_senders_text(meta)) meta->text2 = nullptr;
      release_texts(*meta);
      std::free(meta);
    }
    release_texts(*content);
  }
  std::free(content);
}

}  // namespace

void msg_release_message(msg_message_item_t* item) {
  if (!item) return;
  release_texts(*item);
  g_slist_free_full(item->addressList, release_address);
  item->addressList = nullptr;
  g_slist_free_full(item->contentList, release_content);
  item->contentList = nullptr;
  msg_release_nms_msg_meta(item->nmsMsgMetaData);
  std::free(item->nmsMsgMetaData);
  item->nmsMsgMetaData = nullptr;
}

void msg_release_nms_msg_meta(msg_nms_msg_meta_data_t* meta) {
  if (meta) release_texts(*meta);
}
