#include "serializer/records.h"

#include <vector>

namespace msg_tarvel::bench {

namespace {

template <typename Record>
bool is_same_head(const Record& a, const Record& b) {
  if (numbers_of(a) != numbers_of(b)) return false;
  for (const auto member : Parts<Record>::TEXTS) {
    if (std::strcmp(text_or_empty(a.*member), text_or_empty(b.*member)) != 0) return false;
  }
  return true;
}

template <typename Record>
bool is_same_optional(const Record* a, const Record* b) {
  return a && b ? is_same_head(*a, *b) : a == b;
}

bool is_same_element(const msg_address_item_t& a, const msg_address_item_t& b) {
  return is_same_head(a, b);
}

bool is_same_element(const msg_content_item_t& a, const msg_content_item_t& b) {
  return is_same_head(a, b) && is_same_optional(a.nmsContentMetaData, b.nmsContentMetaData);
}

template <typename Record>
bool is_same_list(const GSList* a, const GSList* b) {
  for (; a && b; a = a->next, b = b->next) {
    if (!is_same_element(*static_cast<const Record*>(a->data),
                         *static_cast<const Record*>(b->data))) {
      return false;
    }
  }
  return a == b;
}

template <typename Record>
void free_texts(const Record& record) {
  for (const auto member : Parts<Record>::TEXTS) std::free(record.*member);
}

template <typename Record>
void free_record(Record* record) {
  if (!record) return;
  free_texts(*record);
  std::free(record);
}

void free_address(gpointer data) { free_record(static_cast<msg_address_item_t*>(data)); }

void free_content(gpointer data) {
  auto* const content = static_cast<msg_content_item_t*>(data);
  free_record(content->nmsContentMetaData);
  free_record(content);
}

}  // namespace

bool is_same(const msg_message_item_t& a, const msg_message_item_t& b) {
  return is_same_head(a, b) && is_same_list<msg_address_item_t>(a.addressList, b.addressList) &&
         is_same_list<msg_content_item_t>(a.contentList, b.contentList) &&
         is_same_optional(a.nmsMsgMetaData, b.nmsMsgMetaData);
}

void release_records(msg_message_item_t& message) {
  free_texts(message);
  g_slist_free_full(message.addressList, free_address);
  g_slist_free_full(message.contentList, free_content);
  free_record(message.nmsMsgMetaData);
}

}  // namespace msg_tarvel::bench
