#pragma once

#include <string>
#include <vector>

#include "generate/chance.h"

namespace msg_tarvel::tool {

/** One conversation of a person's, before its messages are written. */
struct PlannedConversation {
  enum class Kind { PERSON, GROUP, SERVICE, NOBODY };

  Kind kind = Kind::PERSON;
  /** None for NOBODY. */
  std::vector<std::string> members;
  int messages = 0;
};

/**
 * `conversations` of them, from the biggest on, with `messages` in all: a few have most of them,
 * each has one. One in seven is a group, one in seven comes from a service.
 */
std::vector<PlannedConversation> plan_conversations(int conversations, int messages,
                                                    Chance& chance);

/** How many conversations go with so many messages. */
int usual_conversations(int messages);

}  // namespace msg_tarvel::tool
