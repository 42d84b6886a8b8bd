#include "check/summaries.h"

#include <utility>

#include "check/queries.h"
#include "helpers/folders.h"

namespace msg_tarvel::tool {

std::unordered_map<long long, Summary> read_summaries(const Database& database) {
  std::unordered_map<long long, Summary> summaries;
  Rows messages = database.query(SELECT_MESSAGES);
  while (messages.next()) {
    const int folder = static_cast<int>(messages.number(2));
    if (!helpers::is_shown_folder(folder)) continue;
    Summary& summary = summaries[messages.number(0)];
    ++summary.messages;
    if (helpers::is_inbox(folder) && messages.number(3) == 0) ++summary.unread;
    const std::pair<long long, long long> place(messages.number(4), messages.number(1));
    if (summary.newestId == 0 || place > std::pair(summary.newestTime, summary.newestId)) {
      summary.newestTime = place.first;
      summary.newestId = place.second;
    }
  }
  return summaries;
}

}  // namespace msg_tarvel::tool
