#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "commands/commands.h"

namespace msg_tarvel::tool {

/** What was typed. */
struct Arguments {
  std::string dataDir;
  bool json = false;
  bool verbose = false;
  std::string file;
  std::vector<std::string> ownNumbers;
  int convId = 0;
  std::vector<std::string> numbers;
  std::string folderType;
  ListCondition condition;
  std::string ipcCommand;
  int msgId = 0;
  std::string outputFile;
};

/** The command line of msg-tarvel: what can be typed, and which exit status comes of it. */
class CommandLine {
 public:
  CommandLine();

  /** Runs what `argv` asks for; its exit status. */
  int run(int argc, char** argv);

  /** Every command and option, for what is written about them. */
  const CLI::App& definition() const { return _app; }

 private:
  using Command = std::function<int(const Output&)>;

  CLI::App* add(const std::string& name, const std::string& description, const std::string& example,
                Command command, CLI::App* parent = nullptr);
  void addImport();
  void addMessages();
  void addIpcCommands();
  void useDataDir() const;
  Output output() const;

  CLI::App _app{"Makes, fills and asks a message store."};
  Arguments _arguments;
  std::map<CLI::App*, Command> _commands;
};

}  // namespace msg_tarvel::tool
