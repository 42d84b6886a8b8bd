#pragma once

// A message as a text, for comparing and showing all that a hand-over carries.

#include <msg-tarvel-common/item/Message.h>

#include <string>

namespace msg_tarvel {

/** Every field that travels, one to a line; the ids of message and conversation do not count. */
std::string text_of(const msg_tarvel::Message& message);

/** A message with a value of its own in each field that travels, numbers beyond 32 bits included.
 */
msg_tarvel::Message full_message();

}  // namespace msg_tarvel
