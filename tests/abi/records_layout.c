/* The records that no function of the library names, being only in its lists, are not in the
   interface file: their layout is held here, for 64-bit and 32-bit builds. */

#include <msg-tarvel-common/msg-tarvel-serializer/msg_records.h>
#include <stddef.h>

#define AT(record, field, on64, on32)                                               \
  _Static_assert(offsetof(record, field) == (sizeof(void*) == 8 ? (on64) : (on32)), \
                 #record "." #field)
#define SIZE(record, on64, on32) \
  _Static_assert(sizeof(record) == (sizeof(void*) == 8 ? (on64) : (on32)), #record)

SIZE(msg_address_item_t, 24, 20);
AT(msg_address_item_t, opaque0, 0, 0);
AT(msg_address_item_t, text1, 16, 16);

SIZE(msg_content_item_t, 88, 56);
AT(msg_content_item_t, opaque0, 0, 0);
AT(msg_content_item_t, text1, 24, 24);
AT(msg_content_item_t, text2, 32, 28);
AT(msg_content_item_t, text3, 40, 32);
AT(msg_content_item_t, text4, 48, 36);
AT(msg_content_item_t, text5, 56, 40);
AT(msg_content_item_t, text6, 64, 44);
AT(msg_content_item_t, opaque12, 72, 48);
AT(msg_content_item_t, nmsContentMetaData, 80, 52);

SIZE(msg_nms_content_meta_data_t, 40, 24);
AT(msg_nms_content_meta_data_t, opaque0, 0, 0);
AT(msg_nms_content_meta_data_t, text1, 8, 8);
AT(msg_nms_content_meta_data_t, text2, 16, 12);
AT(msg_nms_content_meta_data_t, text3, 24, 16);
AT(msg_nms_content_meta_data_t, opaque5, 32, 20);
