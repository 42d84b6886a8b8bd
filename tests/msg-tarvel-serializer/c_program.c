/* The serializer as a C program uses it. */

#include "c_program.h"

#include <stdlib.h>
#include <string.h>

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"

static const char* hand_over_message(void) {
  char number[] = "+15550100";
  char text[] = "Hello";
  msg_address_item_t address = {{1, 2, 3, 4}, number};
  msg_message_item_t sent;
  msg_message_item_t received;
  const msg_address_item_t* received_address;
  char* buffer = NULL;
  int size;

  memset(&sent, 0, sizeof sent);
  sent.opaque17 = -17;
  sent.text3 = text;
  sent.addressList = g_slist_append(NULL, &address);
  size = msg_serialize_message(&sent, &buffer);
  g_slist_free(sent.addressList);
  if (size != 101 + 5 + 26 + 9) return "the size of the message";
  if (msg_check_message(buffer, (size_t)size) != (size_t)size) return "the check of the message";
  if (msg_check_message(buffer, (size_t)size - 1) != 0) return "the check of a part of it";

  msg_deserialize_message(buffer, &received);
  free(buffer);
  if (received.opaque17 != -17) return "an opaque slot";
  if (received.text1 || received.text2 || strcmp(received.text3, "Hello") != 0) return "a text";
  if (g_slist_length(received.addressList) != 1) return "the list of addresses";
  received_address = received.addressList->data;
  if (received_address->opaque0[3] != 4) return "an opaque slot of the address";
  if (strcmp(received_address->text1, number) != 0) return "the text of the address";

  msg_release_message(&received);
  if (received.text3 || received.addressList) return "the release of the message";
  return NULL;
}

static const char* hand_over_metadata(void) {
  char text[] = "restart";
  msg_nms_msg_meta_data_t sent;
  msg_nms_msg_meta_data_t received;
  char* buffer = NULL;
  int size;

  memset(&sent, 0, sizeof sent);
  sent.text4 = text;
  size = msg_serialize_nms_msg_meta(&sent, &buffer);
  if (size != 74 + 7) return "the size of the metadata";
  if (msg_check_nms_msg_meta(buffer, (size_t)size) != (size_t)size) return "its check";
  msg_deserialize_nms_msg_meta(buffer, &received);
  free(buffer);
  if (received.text1 || strcmp(received.text4, text) != 0) return "a text of the metadata";
  msg_release_nms_msg_meta(&received);
  if (received.text4) return "the release of the metadata";
  return NULL;
}

const char* hand_over_in_c(void) {
  const char* const wrong = hand_over_message();
  return wrong ? wrong : hand_over_metadata();
}
