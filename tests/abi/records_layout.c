/* The records that no function of the library names, being only in its lists, are not in the
   interface file: their layout is held here, slots of 4 bytes and pointers. */

#include <msg-tarvel-common/msg-tarvel-serializer/msg_records.h>
#include <stddef.h>

enum { POINTER = sizeof(void*) };

#define AT(record, field, offset) \
  _Static_assert(offsetof(record, field) == (offset), #record "." #field)
#define SIZE(record, size) _Static_assert(sizeof(record) == (size), #record)

AT(msg_address_item_t, opaque0, 0);
AT(msg_address_item_t, text1, 16);
SIZE(msg_address_item_t, 16 + POINTER);

AT(msg_content_item_t, opaque0, 0);
AT(msg_content_item_t, text1, 24);
AT(msg_content_item_t, text2, 24 + POINTER);
AT(msg_content_item_t, text3, 24 + 2 * POINTER);
AT(msg_content_item_t, text4, 24 + 3 * POINTER);
AT(msg_content_item_t, text5, 24 + 4 * POINTER);
AT(msg_content_item_t, text6, 24 + 5 * POINTER);
AT(msg_content_item_t, opaque12, 24 + 6 * POINTER);
AT(msg_content_item_t, nmsContentMetaData, 24 + 7 * POINTER);
SIZE(msg_content_item_t, 24 + 8 * POINTER);

AT(msg_nms_content_meta_data_t, opaque0, 0);
AT(msg_nms_content_meta_data_t, text1, 8);
AT(msg_nms_content_meta_data_t, text2, 8 + POINTER);
AT(msg_nms_content_meta_data_t, text3, 8 + 2 * POINTER);
AT(msg_nms_content_meta_data_t, opaque5, 8 + 3 * POINTER);
SIZE(msg_nms_content_meta_data_t, 8 + 4 * POINTER);
