#pragma once

/**
 * \file
 * The plain records that the serializer flattens and rebuilds. For C and C++.
 *
 * A record is a row of 32-bit slots: strings, lists, nested records and opaque numbers. The opaque
 * members are named after their first slot; their meaning is agreed between the processes that fill
 * and read them, and the serializer carries them as they are. Strings are NUL-terminated or null.
 */

#include <glib.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Metadata of a content part on the network message store: 6 slots. */
typedef struct msg_nms_content_meta_data_t {
  int32_t opaque0[2];
  char* text1;
  char* text2;
  char* text3;
  int32_t opaque5;
} msg_nms_content_meta_data_t;

/** Metadata of a message on the network message store: 14 slots. */
typedef struct msg_nms_msg_meta_data_t {
  int32_t opaque0;
  char* text1;
  char* text2;
  char* text3;
  char* text4;
  int32_t opaque5[9];
} msg_nms_msg_meta_data_t;

/** A participant: 5 slots. */
typedef struct msg_address_item_t {
  int32_t opaque0[4];
  char* text1;
} msg_address_item_t;

/** A part of a multimedia message or a transferred file: 14 slots. */
typedef struct msg_content_item_t {
  int32_t opaque0[6];
  char* text1;
  char* text2;
  char* text3;
  char* text4;
  char* text5;
  char* text6;
  int32_t opaque12;
  /** Null when there is none. */
  msg_nms_content_meta_data_t* nmsContentMetaData;
} msg_content_item_t;

/** A message: 21 slots. */
typedef struct msg_message_item_t {
  int32_t opaque0[2];
  char* text1;
  int32_t opaque3[12];
  char* text2;
  char* text3;
  int32_t opaque17;
  /** Of msg_address_item_t*; at most 255 survive being written and read. */
  GSList* addressList;
  /** Of msg_content_item_t*; at most 255 survive being written and read. */
  GSList* contentList;
  /** Null when there is none. */
  msg_nms_msg_meta_data_t* nmsMsgMetaData;
} msg_message_item_t;

#ifdef __cplusplus
}
#endif
