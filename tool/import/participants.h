#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "backup/backup_reader.h"
#include "store/phone_number.h"
#include "store/store_writer.h"

namespace msg_tarvel::tool {

/**
 * Finds out which numbers are the phone owner's own, for these stand among a group's addresses.
 *
 * Beside the numbers that are known, a backup shows them: as the sender of a sent message; as the
 * one recipient of a received message; or else as the number that every received group message is
 * addressed to although it is not in the message's own list.
 */
class OwnNumbers {
 public:
  /** `number` is known to be the owner's. */
  void add(const std::string& number);
  void observe(const BackupMessage& message);
  /** To be called after the last observe: draws the conclusions. */
  void conclude();
  const AddressSet& numbers() const { return _numbers; }

 private:
  void _observeReceived(const BackupMessage& message);

  AddressSet _numbers;
  AddressSet _senders;
  std::set<std::string> _onlyRecipients;
  /** How many group messages an unlisted number was addressed in. */
  std::map<std::string, long> _unlistedRecipients;
  long _groupMessages = 0;
};

/** The participants of a message, without duplicates and, unless nobody else is there, the owner.
 */
std::vector<Participant> participants_of(const BackupMessage& message, const AddressSet& own);

/** Every address that the message names, normalised and in order, for telling messages apart. */
std::vector<std::string> named_addresses(const BackupMessage& message);

/** Who sent a received multimedia message; empty when it does not say. */
std::string sender_of(const BackupMessage& message);

}  // namespace msg_tarvel::tool
