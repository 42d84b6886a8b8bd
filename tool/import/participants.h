#pragma once

#include <map>
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

/** How a number is known to be the phone owner's. */
enum class OwnNumberSource { OPTION, SIM_CARD, BACKUP };

/**
 * Finds out which numbers are the phone owner's own, for these stand among a group's addresses.
 *
 * Beside the numbers that are known, a backup shows them: as the sender of a sent message; as the
 * one recipient of received messages, when nearly all of those name it; or else as the number that
 * every received group message is addressed to although it is not in the message's own list. Who
 * sends to the owner, a text or a message, is not the owner, nor who gets one of the owner's beside
 * others, nor who is listed beside the sender, as the silent members of groups are; unless sent
 * messages list the number too.
 */
class OwnNumbers {
 public:
  /** `number` is known to be the owner's. */
  void add(const std::string& number, OwnNumberSource source);
  /** The numbers that are known are all. */
  void endGuessing() { _isGuessing = false; }
  bool isGuessing() const { return _isGuessing; }

  void observe(const BackupMessage& message);
  /** To be called after the last observe: draws the conclusions. */
  void conclude();

  const helpers::AddressSet& numbers() const { return _numbers; }
  const std::map<std::string, OwnNumberSource>& sources() const { return _sources; }

 private:
  /** What received messages say of one of their recipients. */
  struct Recipient {
    /** In how many it is named; and in how many as the only one, though nobody's list has it. */
    long named = 0;
    long aloneUnlisted = 0;
    long alone = 0;
    /** In how many group messages it is not listed. */
    long unlistedInGroups = 0;
  };

  void _observeReceived(const BackupMessage& message);
  void _observeSent(const BackupMessage& message);
  Recipient& _recipient(const std::string& address);
  bool _isOnlyRecipient(const std::string& number, const Recipient& recipient) const;
  bool _isOfNearlyAll(long messages) const { return 10 * messages >= 9 * _received; }

  bool _isGuessing = true;
  helpers::AddressSet _numbers;
  std::map<std::string, OwnNumberSource> _sources;
  /** Who sends to the owner, or is written to together with another. */
  helpers::AddressSet _others;
  /** Who stands in the list of a sent message that is not to them. */
  helpers::AddressSet _listedBesideRecipients;
  helpers::AddressSet _recipientNumbers;
  std::map<std::string, Recipient> _recipients;
  long _received = 0;
  long _withRecipients = 0;
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

/** Whether it is a text with one person, who takes part even if it is the owner. */
inline bool is_with_one_person(const NamedPeople& people) {
  return people.addressed.empty() && people.listed.size() == 1;
}

/** The participants of a message, without duplicates and, unless nobody else is there, the owner.
 */
std::vector<Participant> participants_of(const NamedPeople& people, const helpers::AddressSet& own);

/** Every address that the message names, once and in order, for telling messages apart. */
std::vector<std::string> named_addresses(const NamedPeople& people);

/**
 * The box of a multimedia message that names none: received or sent, by the kind of its transfer or
 * else by its sender. Empty when neither says.
 */
std::string box_of_transfer(const BackupMessage& message, const helpers::AddressSet& own);

/** Who sent a received multimedia message; empty when it does not say. */
std::string sender_of(const BackupMessage& message);

}  // namespace msg_tarvel::tool
