#pragma once

// The program msg-tarvel on a store of the test's own, and backups to feed it with.

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel {

/** Attributes of an element, in order. Values go into the file as they are. */
using Attributes = std::vector<std::pair<std::string, std::string>>;

std::string element(const std::string& name, const Attributes& attributes,
                    const std::string& children = "");

/** A received, read message, but for what `changed` says. */
std::string sms(const Attributes& changed);

/** Attributes like those of sms; `parts` and `addrs` are elements. */
std::string mms(const Attributes& changed, const std::string& parts, const std::string& addrs);
std::string text_part(const std::string& text);
std::string data_part(const std::string& contentType, const std::string& data,
                      const std::string& name = "name");
/** One <addr> per type and address. */
std::string addrs(const std::vector<std::pair<int, std::string>>& typesAndAddresses);

/** The elements as a whole file. */
std::string backup(const std::string& elements);

class ToolTest : public ::testing::Test {
 protected:
  std::string dataDir() const { return _folder.path() + "/data"; }
  std::string mediaDir() const { return dataDir() + "/media"; }
  std::string dbFile() const { return dataDir() + "/dbspace/.msg-tarvel-server.db"; }
  const std::string& folder() const { return _folder.path(); }

  /** The environment of the program: this store, UTC, 80 columns, factory settings. */
  std::vector<std::string> environment() const;
  ProcessResult run(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& extraEnvironment = {}) const;
  /** The program with these arguments in this environment, as execute() takes it. */
  std::vector<std::string> command(const std::vector<std::string>& arguments) const;
  /**
   * Runs it on a terminal; `onOutput` sees all that it printed so far, and its process. `inFront`
   * is a program that runs it.
   */
  ProcessResult runOnTerminal(const std::vector<std::string>& arguments,
                              const std::function<void(const std::string&, pid_t)>& onOutput,
                              unsigned short width = 60,
                              const std::vector<std::string>& inFront = {}) const;
  /** The same, and the program must have been content with 64 MB, as all programs before it. */
  ProcessResult runWithLittleMemory(const std::vector<std::string>& arguments) const;
  /** What the command prints with --json, which must succeed. */
  nlohmann::json json(std::vector<std::string> arguments) const;

  /**
   * Runs a copy of the program from now on, in a folder that every user may enter; the one that was
   * built may lie in somebody's home.
   */
  void useProgramForEveryone();

  void create() const;
  /** Exit status 3, one line on standard error that begins and ends so, nothing on the other. */
  static void expectFailure(const ProcessResult& result, const std::string& beginning,
                            const std::string& ending = "");
  /** Writes a file of the test's and returns its path. */
  std::string file(const std::string& name, const std::string& content) const;
  /** Imports a backup of these elements; returns the summary. */
  nlohmann::json import(const std::string& elements,
                        const std::vector<std::string>& options = {}) const;

  /** The first column of every row, each followed by a newline. */
  std::string rows(const std::string& sql) const;
  std::vector<std::string> mediaFiles() const;
  /** Every row of the tables that an import writes, and the media files. */
  std::string everything() const;

 private:
  TemporaryFolder _folder;
  std::string _program = TOOL_PROGRAM;
};

std::string content_of(const std::string& path);

}  // namespace msg_tarvel
