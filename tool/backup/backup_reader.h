#pragma once

#include <functional>
#include <string>
#include <vector>

#include "backup/backup_file.h"
#include "backup/payload_stage.h"

namespace msg_tarvel::tool {

// What a backup says, as texts. Absent attributes, and those that say "null", are empty; but a
// text may be the word.

/** A part of a multimedia message. */
struct BackupPart {
  std::string sequence;
  std::string contentType;
  std::string name;
  /** "null" also for a part without a text, as some programs write it. */
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
  /** `m_type`: what of a multimedia message's transfer this is. */
  std::string transfer;
  std::string read;
  std::string subject;
  std::string body;
  std::vector<BackupPart> parts;
  std::vector<BackupAddress> addresses;
  /** There is more text in it than anybody writes; texts, parts and addresses are left out. */
  bool isTooLarge = false;
};

/** What a reader tells of the file, one call after the other. */
struct BackupEvents {
  /** The root's `count`, as a text. */
  std::function<void(const std::string&)> onCount;
  /** The message may be changed and moved from. */
  std::function<void(BackupMessage&)> onMessage;
  /** The bytes of the file that are read so far. */
  std::function<void(long long)> onProgress;
  /** Of read_damaged_backup: from this line on something was left out. */
  std::function<void(const BackupDamage&)> onDamage;
};

/** Where the text of a backup, or of a part of one, comes from. */
struct BackupSource {
  /** For a user. */
  std::string name;
  /** The number of bytes read; 0 at the end. */
  std::function<std::size_t(char*, std::size_t)> read;
  int firstLine = 1;
  /** Whether the text is in UTF-8, whatever it says itself. */
  bool isRecoded = false;
};

/**
 * Reads `file` from its beginning to its end. Decoded payloads go to `stage`; without one they are
 * passed over. What the events throw goes through; a file that is not a well-formed backup throws
 * BackupDamage, possibly after events.
 */
void read_backup(const BackupFile& file, PayloadStage* stage, const BackupEvents& events);

/** The same for a text; onProgress is the source's business. */
void read_source(const BackupSource& source, PayloadStage* stage, const BackupEvents& events);

}  // namespace msg_tarvel::tool
