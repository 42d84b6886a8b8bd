#pragma once

// The serializer's internal functions, with the names that their log lines carry. The library does
// not export them; the unit tests reach them here.

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"

// Each returns a number of bytes, and 0 when given a null record or buffer.

/** Writes one string block; a null text is an empty one. */
int __serialize_string(const char* text, char* buf);

int __calculate_msg_address_item(const msg_address_item_t* item);
int __calculate_msg_content_item(const msg_content_item_t* item);
int __calculate_nms_msg_meta_data_item(const msg_nms_msg_meta_data_t* item);
int __calculate_nms_content_meta_data_item(const msg_nms_content_meta_data_t* item);

int __serialize_msg_address_item(const msg_address_item_t* item, char* buf);
int __serialize_msg_content_item(const msg_content_item_t* item, char* buf);
int __serialize_nms_msg_meta_data_item(const msg_nms_msg_meta_data_t* item, char* buf);
int __serialize_nms_content_meta_data_item(const msg_nms_content_meta_data_t* item, char* buf);

/** Reads one string block into `*text`; a null `text` skips it. */
int __deserialize_string(const char* buf, char** text);

int __deserialize_msg_address_item(const char* buf, msg_address_item_t* item);
int __deserialize_msg_content_item(const char* buf, msg_content_item_t* item);
int __deserialize_nms_msg_meta_data_item(const char* buf, msg_nms_msg_meta_data_t* item);
int __deserialize_nms_content_meta_data_item(const char* buf, msg_nms_content_meta_data_t* item);
