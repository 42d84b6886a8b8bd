// msg-tarvel create

#include <glib.h>
#include <msg-tarvel-common/db/DBMgr.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>

#include "check/store_files.h"
#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "helpers/store_indexes.h"
#include "helpers/store_maker.h"
#include "helpers/transaction.h"
#include "print/json.h"
#include "store/log_sink.h"
#include "store/media.h"
#include "store/store.h"

namespace msg_tarvel::tool {

namespace {

using helpers::MadeStore;

constexpr int PARENT_MODE = 0700;

const char* words_for(MadeStore::State state) {
  switch (state) {
    case MadeStore::State::NEW:
      return "created ";
    case MadeStore::State::COMPLETED:
      return "completed ";
    case MadeStore::State::WHOLE:
      break;
  }
  return "complete already: ";
}

/** What is not there every time is there only when it happened. */
Json json_of(const MadeStore& made, const std::string& path) {
  Json json = {{"path", path}, {"created", made.state == MadeStore::State::NEW}};
  if (made.state == MadeStore::State::COMPLETED) json["completed"] = true;
  for (const MadeStore::MendedMode& mended : made.mended) {
    json["modesMended"].push_back({{"path", mended.path}, {"before", octal(mended.before)}});
  }
  return json;
}

void print_text(std::ostream& out, const MadeStore& made, const std::string& path) {
  out << words_for(made.state) << path << "\n";
  for (const MadeStore::MendedMode& mended : made.mended) {
    out << "mode was " << octal(mended.before) << ", is now 0660: " << mended.path << "\n";
  }
}

struct CreateArguments {
  bool withoutIndexes = false;
};

/** Whether any was missing. */
bool add_indexes() {
  // The end of a transaction waits for readers, also where nothing was written.
  if (helpers::has_every_index()) return false;
  helpers::Transaction transaction;
  const bool isAdded = helpers::make_indexes();
  transaction.commit();
  return isAdded;
}

int create_store(const Output& output, const CreateArguments& arguments) {
  const std::string path = require_place();
  const std::filesystem::path data(db::get_data_dir_path());
  const std::filesystem::path parent = data.parent_path().parent_path();
  if (!parent.empty() && g_mkdir_with_parents(parent.c_str(), PARENT_MODE) != 0) {
    throw Failure("cannot make the directory " + parent.string() + ": " + std::strerror(errno));
  }
  const helpers::StoreSession session;
  forget_log_errors();
  MadeStore made = helpers::make_store();
  if (!arguments.withoutIndexes && add_indexes() && made.state == MadeStore::State::WHOLE) {
    made.state = MadeStore::State::COMPLETED;
  }
  make_media_directory(media_directory());
  if (output.json) {
    print_json(output, json_of(made, path));
  } else {
    print_text(output.out, made, path);
  }
  return FOUND;
}

}  // namespace

void declare_create(CommandSet& commands) {
  const auto arguments = std::make_shared<CreateArguments>();
  CLI::App& app = commands.add(
      "create", "Makes the store, or what is missing of it",
      "msg-tarvel create\n\n"
      "Only the files' owner and group may read and write them; where another mode can be\n"
      "changed to this one, it is, and the output says so. Indexes keep the queries fast as the\n"
      "store grows; they take about 30 % of its size.",
      [arguments](const Output& output) { return create_store(output, *arguments); });
  app.add_flag("--no-indexes", arguments->withoutIndexes, "Make no indexes");
}

}  // namespace msg_tarvel::tool
