/* Flattens a message and rebuilds it, from C. */

#include <msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
  char text[] = "Hello";
  msg_message_item_t sent;
  msg_message_item_t received;
  char* buffer = NULL;
  int size = 0;

  memset(&sent, 0, sizeof sent);
  memset(&received, 0, sizeof received);
  sent.text2 = text;
  size = msg_serialize_message(&sent, &buffer);
  if (size <= 0 || msg_check_message(buffer, (size_t)size) != (size_t)size) return 1;
  msg_deserialize_message(buffer, &received);
  printf("%s\n", received.text2);
  free(received.text2);
  free(buffer);
  return 0;
}
