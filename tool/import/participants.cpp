#include "import/participants.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "interrupt.h"

namespace msg_tarvel::tool {

using helpers::AddressSet;
using helpers::is_phone_number;
using helpers::is_same_address;
using helpers::normalised_address;

namespace {

/** What phones write as the sender of a message that they send. */
constexpr const char* NO_SENDER_YET = "insert-address-token";

// Boxes, and kinds of transfer.
constexpr const char* RECEIVED = "1";
constexpr const char* SENT = "2";
constexpr const char* SEND_REQUEST = "128";
constexpr const char* NOTIFICATION = "130";
constexpr const char* RETRIEVED = "132";

std::vector<std::string> listed_addresses(const BackupMessage& message) {
  std::vector<std::string> addresses;
  const std::string& list = message.address;
  for (std::size_t begin = 0; begin < list.size();) {
    throw_if_interrupted();
    const std::size_t end = std::min(list.find('~', begin), list.size());
    std::string address = normalised_address(list.substr(begin, end - begin));
    if (!address.empty() && address != "null") addresses.push_back(std::move(address));
    begin = end + 1;
  }
  return addresses;
}

int recipient_type_of(int addressType) {
  if (addressType == ADDRESS_CC) return 2;
  if (addressType == ADDRESS_BCC) return 3;
  return 1;
}

std::string sender_named_by(const BackupMessage& message) {
  for (const BackupAddress& entry : message.addresses) {
    std::string address = normalised_address(entry.address);
    if (entry.type == ADDRESS_FROM && !address.empty() && address != NO_SENDER_YET) return address;
  }
  return {};
}

std::vector<Participant> addressed(const BackupMessage& message) {
  std::vector<Participant> participants;
  participants.reserve(message.addresses.size());
  for (const BackupAddress& entry : message.addresses) {
    throw_if_interrupted();
    const std::string address = normalised_address(entry.address);
    if (!address.empty() && address != NO_SENDER_YET) {
      participants.push_back({address, recipient_type_of(entry.type)});
    }
  }
  return participants;
}

/** Participants without duplicates; the nearest role of each counts (a sender is often cc too). */
class Union {
 public:
  // Both throw Interrupted: of some messages there are very many.
  void add(const Participant& participant) {
    if (merge(participant)) return;
    _addresses.keep(participant.address);
    _places.emplace(_addresses.find(participant.address), _participants.size());
    _participants.push_back(participant);
  }
  /** False for one who is not there yet. */
  bool merge(const Participant& participant) {
    throw_if_interrupted();
    const std::string* const known = _addresses.find(participant.address);
    if (!known) return false;
    int& role = _participants[_places.at(known)].recipientType;
    role = std::min(role, participant.recipientType);
    return true;
  }
  const AddressSet& addresses() const { return _addresses; }
  const std::vector<Participant>& participants() const { return _participants; }
  std::vector<Participant> takeParticipants() { return std::move(_participants); }

 private:
  AddressSet _addresses;
  std::vector<Participant> _participants;
  /** By what is in the set. */
  std::unordered_map<const std::string*, std::size_t> _places;
};

std::vector<Participant> recipients_beside(const std::string& sender,
                                           const BackupMessage& message) {
  Union recipients;
  for (const BackupAddress& entry : message.addresses) {
    const std::string address = normalised_address(entry.address);
    if (entry.type != ADDRESS_FROM && is_phone_number(address) &&
        !is_same_address(address, sender)) {
      recipients.add({address});
    }
  }
  return recipients.takeParticipants();
}

/** Without the owner's, unless there are no others. */
std::vector<Participant> others_among(std::vector<Participant> participants,
                                      const AddressSet& own) {
  const auto isOwn = [&own](const Participant& one) { return own.contains(one.address); };
  if (std::all_of(participants.begin(), participants.end(), isOwn)) return participants;
  const auto others = std::remove_if(participants.begin(), participants.end(), isOwn);
  participants.erase(others, participants.end());
  return participants;
}

}  // namespace

void OwnNumbers::add(const std::string& number, OwnNumberSource source) {
  const std::string normalised = normalised_address(number);
  if (is_phone_number(normalised) && _numbers.add(normalised)) _sources[normalised] = source;
}

void OwnNumbers::observe(const BackupMessage& message) {
  const std::string box = message.box.empty() ? box_of_transfer(message, _numbers) : message.box;
  // Of one that says too little only its sender shows, later, which it is.
  if (message.box.empty() && message.transfer.empty() && box != SENT) return;
  if (!message.isMultimedia) {
    if (box != RECEIVED) return;
    for (const std::string& address : listed_addresses(message)) _others.add(address);
  } else if (box == RECEIVED) {
    _observeReceived(message);
  } else if (!box.empty()) {
    _observeSent(message);
  }
}

/** Of several who are written to, none is the owner; but a note may be to oneself. */
void OwnNumbers::_observeSent(const BackupMessage& message) {
  Union recipients;
  for (const BackupAddress& entry : message.addresses) {
    if (entry.type == ADDRESS_FROM) {
      add(entry.address, OwnNumberSource::BACKUP);
    } else {
      recipients.add({normalised_address(entry.address)});
    }
  }
  if (recipients.participants().empty()) return;
  for (const std::string& address : listed_addresses(message)) {
    if (!recipients.addresses().contains(address)) _listedBesideRecipients.add(address);
  }
  if (recipients.participants().size() < 2) return;
  for (const Participant& one : recipients.participants()) _others.add(one.address);
}

OwnNumbers::Recipient& OwnNumbers::_recipient(const std::string& address) {
  _recipientNumbers.add(address);
  return _recipients[_recipientNumbers.find(address)];
}

void OwnNumbers::_observeReceived(const BackupMessage& message) {
  if (message.transfer == NOTIFICATION) return;
  const std::string sender = sender_named_by(message);
  if (!sender.empty()) _others.add(sender);

  AddressSet listed;
  for (const std::string& address : listed_addresses(message)) listed.add(address);
  const std::vector<Participant> recipients = recipients_beside(sender, message);
  const bool isAlone = recipients.size() == 1;
  ++_received;
  if (!recipients.empty()) ++_withRecipients;
  if (recipients.size() > 1) ++_groupMessages;
  for (const Participant& participant : recipients) {
    throw_if_interrupted();
    const bool isListed = listed.contains(participant.address);
    Recipient& recipient = _recipient(participant.address);
    ++recipient.named;
    if (!isAlone && !isListed) ++recipient.unlistedInGroups;
    if (!isAlone) continue;
    ++recipient.alone;
    if (!isListed) ++recipient.aloneUnlisted;
  }
}

/**
 * A list of two with the sender may be that of a group of three, whoever sends to it: that a phone
 * lists itself shows in what it sent.
 */
bool OwnNumbers::_isOnlyRecipient(const std::string& number, const Recipient& recipient) const {
  const bool isListedBySelf = _listedBesideRecipients.contains(number);
  return recipient.alone > 0 && (recipient.aloneUnlisted > 0 || isListedBySelf) &&
         !_others.contains(number);
}

void OwnNumbers::conclude() {
  if (!_isGuessing) return;
  std::vector<std::string> alone;
  std::vector<std::string> unlisted;
  long named = 0;
  for (const auto& [place, recipient] : _recipients) {
    const std::string& number = *place;
    if (_isOnlyRecipient(number, recipient)) {
      alone.push_back(number);
      named += recipient.named;
    }
    const bool isInEveryGroup = _groupMessages > 0 && recipient.unlistedInGroups == _groupMessages;
    if (isInEveryGroup && !_others.contains(number)) unlisted.push_back(number);
  }
  // A phone that writes its number writes it nearly always; where it is missing, the one recipient
  // of a message is the third in a group.
  if (_isOfNearlyAll(named)) {
    for (const std::string& number : alone) add(number, OwnNumberSource::BACKUP);
  }
  // The weakest sign counts only when there is no other: a member of a group who never writes
  // looks nearly the same, but is not in every group.
  if (_numbers.empty() && unlisted.size() == 1 && _isOfNearlyAll(_withRecipients)) {
    add(unlisted.front(), OwnNumberSource::BACKUP);
  }
  // Nobody asks again, and of a message to very many it is much.
  _others = {};
  _listedBesideRecipients = {};
  _recipients = {};
  _recipientNumbers = {};
}

NamedPeople named_people(const BackupMessage& message) {
  return {listed_addresses(message), addressed(message)};
}

std::vector<Participant> participants_of(const NamedPeople& people, const AddressSet& own) {
  if (is_with_one_person(people)) return {{people.listed.front()}};

  Union named;
  for (const Participant& participant : people.addressed) named.add(participant);
  const bool namesOthers =
      std::any_of(named.participants().begin(), named.participants().end(),
                  [&own](const Participant& one) { return !own.contains(one.address); });

  Union listed;
  for (const std::string& address : people.listed) {
    // A text that is nobody's address stands for the group, whose members are named.
    const bool isGroupName =
        namesOthers && !is_phone_number(address) && !named.addresses().contains(address);
    // A listed address counts as from or to only if nothing nearer is said of it.
    if (!isGroupName) listed.add({address, named.addresses().contains(address) ? 3 : 1});
  }
  // Those that are named are one each; some of them may be listed too.
  std::vector<Participant> unlisted = named.takeParticipants();
  const auto isListed = [&listed](const Participant& one) { return listed.merge(one); };
  unlisted.erase(std::remove_if(unlisted.begin(), unlisted.end(), isListed), unlisted.end());
  std::vector<Participant> all = listed.takeParticipants();
  all.insert(all.end(), std::make_move_iterator(unlisted.begin()),
             std::make_move_iterator(unlisted.end()));
  return others_among(std::move(all), own);
}

std::vector<std::string> named_addresses(const NamedPeople& people) {
  std::vector<std::string> addresses = people.listed;
  addresses.reserve(people.listed.size() + people.addressed.size());
  for (const Participant& participant : people.addressed) addresses.push_back(participant.address);
  std::sort(addresses.begin(), addresses.end());
  addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
  return addresses;
}

std::string box_of_transfer(const BackupMessage& message, const AddressSet& own) {
  if (!message.isMultimedia) return {};
  if (message.transfer == SEND_REQUEST) return SENT;
  if (message.transfer == NOTIFICATION || message.transfer == RETRIEVED) return RECEIVED;
  for (const BackupAddress& entry : message.addresses) {
    const std::string address = normalised_address(entry.address);
    if (entry.type != ADDRESS_FROM || address.empty()) continue;
    return address == NO_SENDER_YET || own.contains(address) ? SENT : RECEIVED;
  }
  return {};
}

std::string sender_of(const BackupMessage& message) {
  return message.box == RECEIVED ? sender_named_by(message) : std::string();
}

}  // namespace msg_tarvel::tool
