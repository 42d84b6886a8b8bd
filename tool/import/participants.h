#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "backup/backup_reader.h"
#include "helpers/same_address.h"

namespace msg_tarvel::tool {

/** Someone a message was exchanged with; the owner of the phone is none. */
struct Participant {
  std::string address;
  /** As msg_address_table has it: 1 from or to, 2 cc, 3 bcc. */
  int recipientType = 1;
};

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
  const helpers::AddressSet& numbers() const { return _numbers; }

 private:
  void _observeReceived(const BackupMessage& message);

  helpers::AddressSet _numbers;
  helpers::AddressSet _senders;
  std::set<std::string> _onlyRecipients;
  /** How many group messages an unlisted number was addressed in. */
  std::map<std::string, long> _unlistedRecipients;
  long _groupMessages = 0;
};

/** Everyone a message names, the owner too, normalised and as often as it does. */
struct NamedPeople {
  /** In the attribute `address`, where "~" separates those of a group. */
  std::vector<std::string> listed;
  /** In the elements <addr>, the senders and recipients. */
  std::vector<Participant> addressed;
};

NamedPeople named_people(const BackupMessage& message);

/** The participants of a message, without duplicates and, unless nobody else is there, the owner.
 */
std::vector<Participant> participants_of(const NamedPeople& people, const helpers::AddressSet& own);

/** Every address that the message names, once and in order, for telling messages apart. */
std::vector<std::string> named_addresses(const NamedPeople& people);

/** Who sent a received multimedia message; empty when it does not say. */
std::string sender_of(const BackupMessage& message);

}  // namespace msg_tarvel::tool
