// msg-tarvel export

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "commands/command_set.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "export/json_lines.h"
#include "store/connections.h"
#include "store/media.h"
#include "store/store_view.h"

namespace msg_tarvel::tool {

namespace {

constexpr mode_t ONLY_THIS_USER = 0700;

struct ExportArguments {
  std::string media;
};

void make_media_target(const std::string& path) {
  if (mkdir(path.c_str(), ONLY_THIS_USER) == -1 && errno != EEXIST) {
    throw Failure("cannot make the directory " + path + ": " + std::strerror(errno));
  }
}

int export_store(const Output& output, const ExportArguments& arguments) {
  if (output.json) throw UsageError("export prints lines of JSON in any case");
  const std::string media = media_directory();
  const StoreView view;
  if (!arguments.media.empty()) make_media_target(arguments.media);
  const LeftOut leftOut =
      write_json_lines(Database(last_connection()), media, arguments.media, output.out);
  if (leftOut.files > 0) {
    std::cerr << "msg-tarvel: left out: " << leftOut.files
              << " files that are missing or not in the store's media\n";
  }
  return FOUND;
}

}  // namespace

void declare_export(CommandSet& commands) {
  const auto arguments = std::make_shared<ExportArguments>();
  CLI::App& app = commands.add(
      "export", "Prints the whole store as lines of JSON",
      "msg-tarvel export >messages.jsonl\n\n"
      "A line has a conversation with its addresses, or a message with its contents, metadata and\n"
      "files, every column as it is stored. 'msg-tarvel import' reads them back into an empty "
      "store,\n"
      "which then has the same rows, ids and files. Of files that rows name those in the store's\n"
      "media are exported; how many others were left out is told on standard error.",
      [arguments](const Output& output) { return export_store(output, *arguments); });
  app.add_option("--media", arguments->media,
                 "Write the files into this directory instead of the lines")
      ->type_name("DIR");
}

}  // namespace msg_tarvel::tool
