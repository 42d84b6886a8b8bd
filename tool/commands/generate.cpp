// msg-tarvel generate

#include "generate/generate.h"

#include <cstdint>
#include <memory>
#include <ostream>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "filter/whole_number.h"
#include "helpers/transaction.h"
#include "print/json.h"
#include "store/store.h"
#include "store/work_time.h"

namespace msg_tarvel::tool {

namespace {

int generate(const Output& output, const GenerateOptions& options) {
  require_store();
  allow_work_time_for_each_statement();
  const helpers::StoreSession session;
  const GeneratedStore made = generate_store(options);
  if (output.json) {
    print_json(output, {{"seed", options.seed},
                        {"messages", made.messages},
                        {"conversations", made.conversations},
                        {"files", made.files}});
  } else {
    output.out << "generated " << made.messages << " messages in " << made.conversations
               << " conversations, with " << made.files << " files\n";
  }
  return FOUND;
}

}  // namespace

void declare_generate(CommandSet& commands) {
  const auto options = std::make_shared<GenerateOptions>();
  CLI::App& app = commands.add(
      "generate", "Fills an empty store with messages that nobody wrote",
      "msg-tarvel generate --seed 7 --messages 5000\n\n"
      "The store is like a person's after three years: conversations of very different sizes,\n"
      "groups, short codes, two SIM cards, small pictures and sounds, every folder, messages of\n"
      "the same time. Numbers are of ranges kept for films. The same options give the same rows\n"
      "and files everywhere. A store that has messages is refused; one without indexes gets them.",
      [options](const Output& output) { return generate(output, *options); });
  app.add_option("--seed", options->seed, "Another number, another store")
      ->capture_default_str()
      ->check(whole_number(0, UINT64_MAX))
      ->type_name("N");
  app.add_option("--messages", options->messages, "How many messages")
      ->capture_default_str()
      ->check(whole_number(1, MOST_GENERATED_MESSAGES))
      ->type_name("N");
  app.add_option("--conversations", options->conversations,
                 "How many conversations (default: 60 for 1,000 messages, 600 for 100,000)")
      ->check(whole_number(1, MOST_GENERATED_CONVERSATIONS))
      ->type_name("N");
  app.add_flag("--no-indexes", options->withoutIndexes, "Add no indexes to the store");
}

}  // namespace msg_tarvel::tool
