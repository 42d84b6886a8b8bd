#pragma once

#include <map>
#include <string>
#include <vector>

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

/** What an import did. */
struct ImportSummary {
  long read = 0;
  long stored = 0;
  /** Counts by reason. */
  std::map<std::string, long> skipped;
  long partsStored = 0;
  long partsReported = 0;
  /** The first of them. */
  std::vector<PartReport> reports;
  int conversationsCreated = 0;

  long skippedInAll() const;
};

/** As many reports as a summary keeps. */
constexpr std::size_t MOST_REPORTS = 100;

struct ImportOptions {
  /** The phone owner's, as far as the user gives them. */
  std::vector<std::string> ownNumbers;
  /** Otherwise a store that lacks indexes of the library gets them. */
  bool withoutIndexes = false;
};

/**
 * Imports the backup `path` into the store, all of it or, when anything throws (Failure,
 * Interrupted), nothing.
 */
ImportSummary import_backup(const std::string& path, const ImportOptions& options);

}  // namespace msg_tarvel::tool
