#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "helpers/store_writer.h"
#include "import/participants.h"

namespace msg_tarvel::tool {

/** A part that was stored without its data, or of a type that is not known. */
struct PartReport {
  /** The line of the message in the file. */
  int line = 0;
  /** Of the part within the message, from 1. */
  int part = 0;
  std::string contentType;
  std::string problem;
};

/** Messages that were not stored for one reason. */
struct Skipped {
  long count = 0;
  /** Of the first of them. */
  int firstLine = 0;
};

/** A place from which on something of the file was left out. */
struct DamageReport {
  long line = 0;
  std::string problem;
};

/** A number that was taken for the owner's. */
struct OwnNumberReport {
  std::string number;
  OwnNumberSource source = OwnNumberSource::BACKUP;
  /** How many messages name it beside other people. */
  long messages = 0;
};

/** What an import did. */
struct ImportSummary {
  /** For a user. */
  std::string file;
  long read = 0;
  long stored = 0;
  /** By reason. */
  std::map<std::string, Skipped> skipped;
  /** How many messages the file says it has. */
  std::optional<long> count;
  long partsStored = 0;
  long partsReported = 0;
  /** The first of them, and the first with each problem. */
  std::vector<PartReport> reports;
  int conversationsCreated = 0;
  std::vector<OwnNumberReport> ownNumbers;
  long damages = 0;
  /** The first of them. */
  std::vector<DamageReport> damage;
  std::vector<helpers::Twins> twins;

  long skippedInAll() const;
  /** Whether the file's own count is another than that of its messages. */
  bool isCountFarOff() const;
};

/** As many reports, and places of damage, as a summary keeps. */
constexpr std::size_t MOST_REPORTS = 100;

struct ImportOptions {
  /** The phone owner's, as far as the user gives them; these are all then. */
  std::vector<std::string> ownNumbers;
  /** Otherwise a store that lacks indexes of the library gets them. */
  bool withoutIndexes = false;
  /** Whether what is good of a damaged file is taken. */
  bool keepsGoing = false;
  /** Whether nothing of it all is to stay. */
  bool isDryRun = false;
  /** Where the files lie that the lines of an export name but do not hold. */
  std::string media;
};

/**
 * Imports the backup, or the export, `path` into the store, all of it or, when anything throws
 * (Failure, Interrupted), nothing.
 */
ImportSummary import_backup(const std::string& path, const ImportOptions& options);

}  // namespace msg_tarvel::tool
