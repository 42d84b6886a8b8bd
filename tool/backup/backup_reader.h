#pragma once

#include <functional>
#include <string>
#include <vector>

#include "backup/backup_file.h"
#include "backup/payload_stage.h"

namespace msg_tarvel::tool {

// What a backup says, as texts. Absent attributes, and those that say "null", are empty.

/** A part of a multimedia message. */
struct BackupPart {
  std::string sequence;
  std::string contentType;
  std::string name;
  std::string text;
  Payload payload;
};

/** A sender or recipient of a multimedia message. */
struct BackupAddress {
  std::string address;
  int type = 0;
};

// Types of BackupAddress.
constexpr int ADDRESS_BCC = 129;
constexpr int ADDRESS_CC = 130;
constexpr int ADDRESS_FROM = 137;
constexpr int ADDRESS_TO = 151;

/** A message: an <sms> or <mms> element. */
struct BackupMessage {
  bool isMultimedia = false;
  /** The line of the file on which its start tag ends. */
  int line = 0;
  std::string address;
  std::string date;
  /** `type` or `msg_box`. */
  std::string box;
  std::string read;
  std::string subject;
  std::string body;
  std::vector<BackupPart> parts;
  std::vector<BackupAddress> addresses;
};

/** What a reader tells of the file, one call after the other. */
struct BackupEvents {
  /** The message may be changed and moved from. */
  std::function<void(BackupMessage&)> onMessage;
  /** The bytes of the file that are read so far. */
  std::function<void(long long)> onProgress;
};

/**
 * Reads `file` from its beginning to its end. Decoded payloads go to `stage`; without one they are
 * passed over. What the events throw goes through; a file that is not a well-formed backup throws a
 * Failure that names file, line and reason, possibly after events.
 */
void read_backup(BackupFile& file, PayloadStage* stage, const BackupEvents& events);

}  // namespace msg_tarvel::tool
