#pragma once

/**
 * \file
 * The plain records that the serializer flattens and rebuilds. For C and C++.
 *
 * A record is a row of 32-bit slots: strings, lists, nested records and opaque numbers. The opaque
 * members are named after their first slot; what they and the strings mean is agreed between the
 * processes that fill and read them, and the serializer carries them as they are. docs/ipc.md has
 * the agreement of the tool and the examples. Strings are NUL-terminated or null; an empty one
 * arrives as null.
 */

#include <glib.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Metadata of a content part on the network message store: 6 slots. */
typedef struct msg_nms_content_meta_data_t {
  /** Opaque: slots 0 and 1. */
  int32_t opaque0[2];
  /** Text: slot 2. */
  char* text1;
  /** Text: slot 3. Read from an empty one it is a number of the sender's: do not follow it. */
  char* text2;
  /** Text: slot 4. */
  char* text3;
  /** Opaque: slot 5. */
  int32_t opaque5;
} msg_nms_content_meta_data_t;

/** Metadata of a message on the network message store: 14 slots. */
typedef struct msg_nms_msg_meta_data_t {
  /** Opaque: slot 0. */
  int32_t opaque0;
  /** Text: slot 1. */
  char* text1;
  /** Text: slot 2. */
  char* text2;
  /** Text: slot 3. */
  char* text3;
  /** Text: slot 4. */
  char* text4;
  /** Opaque: slots 5 to 13. */
  int32_t opaque5[9];
} msg_nms_msg_meta_data_t;

/** A participant: 5 slots. */
typedef struct msg_address_item_t {
  /** Opaque: slots 0 to 3. */
  int32_t opaque0[4];
  /** Text: slot 4. */
  char* text1;
} msg_address_item_t;

/** A part of a multimedia message or a transferred file: 14 slots. */
typedef struct msg_content_item_t {
  /** Opaque: slots 0 to 5. */
  int32_t opaque0[6];
  /** Text: slot 6. */
  char* text1;
  /** Text: slot 7. */
  char* text2;
  /** Text: slot 8. */
  char* text3;
  /** Text: slot 9. */
  char* text4;
  /** Text: slot 10. */
  char* text5;
  /** Text: slot 11. */
  char* text6;
  /** Opaque: slot 12. */
  int32_t opaque12;
  /** Slot 13. Null when there is none. */
  msg_nms_content_meta_data_t* nmsContentMetaData;
} msg_content_item_t;

/** A message: 21 slots. */
typedef struct msg_message_item_t {
  /** Opaque: slots 0 and 1. */
  int32_t opaque0[2];
  /** Text: slot 2. */
  char* text1;
  /** Opaque: slots 3 to 14. */
  int32_t opaque3[12];
  /** Text: slot 15. */
  char* text2;
  /** Text: slot 16. */
  char* text3;
  /** Opaque: slot 17. */
  int32_t opaque17;
  /** Slot 18. Of msg_address_item_t*; at most 255 survive being written and read. */
  GSList* addressList;
  /** Slot 19. Of msg_content_item_t*; at most 255 survive being written and read. */
  GSList* contentList;
  /** Slot 20. Null when there is none. */
  msg_nms_msg_meta_data_t* nmsMsgMetaData;
} msg_message_item_t;

#ifdef __cplusplus
}
#endif
