#pragma once

#include <unordered_map>

#include "store/database.h"

namespace msg_tarvel::tool {

/** What the messages of a conversation amount to. */
struct Summary {
  long long messages = 0;
  long long unread = 0;
  long long newestId = 0;
  long long newestTime = 0;
};

/** The conversations that have messages, in one pass over these. */
std::unordered_map<long long, Summary> read_summaries(const Database& database);

}  // namespace msg_tarvel::tool
