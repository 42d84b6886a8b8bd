// msg-tarvel find

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "commands/find_explanation.h"
#include "exit_status.h"
#include "helpers/conversation_search.h"
#include "helpers/same_address.h"
#include "print/items.h"
#include "print/remark.h"
#include "store/device_settings.h"
#include "store/log_sink.h"
#include "store/read_items.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

struct FindArguments {
  std::vector<std::string> numbers;
  bool isExplained = false;
};

/** Finds the conversation with exactly these people, their numbers written in any way. */
int find(const Output& output, const FindArguments& arguments) {
  // An explanation shows what cannot be read.
  if (!arguments.isExplained) require_settings();
  const StoreView view;
  const std::vector<std::string> people = helpers::people_among(arguments.numbers);
  forget_log_errors();
  const int convId = helpers::find_conversation(people);
  if (arguments.isExplained) print_explanation(output, people, convId);
  ListedThread listed;
  const bool hasMessages = convId != 0 && read_thread(convId, listed);
  // An explanation in JSON is one value.
  if (!arguments.isExplained || !output.json) {
    ThreadList list(output);
    if (hasMessages) list.add(listed);
    list.end();
  }
  if (hasMessages) return FOUND;
  return nothing_found(convId == 0
                           ? "there is no conversation with exactly these people"
                           : "their conversation, " + std::to_string(convId) + ", has no messages");
}

}  // namespace

void declare_find(CommandSet& commands) {
  const auto arguments = std::make_shared<FindArguments>();
  CLI::App& app =
      commands.add("find", "Finds the conversation with exactly these people",
                   "msg-tarvel find \"(415) 555-0111\" +14155550145",
                   [arguments](const Output& output) { return find(output, *arguments); });
  app.add_option("NUMBER", arguments->numbers,
                 "A phone number in any form, an e-mail address or a name")
      ->required();
  app.add_flag("--explain", arguments->isExplained,
               "Say how the numbers are compared, and with which of the store's");
}

}  // namespace msg_tarvel::tool
