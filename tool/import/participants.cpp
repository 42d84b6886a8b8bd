#include "import/participants.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace msg_tarvel::tool {

using helpers::AddressSet;
using helpers::is_phone_number;
using helpers::is_same_address;
using helpers::normalised_address;

namespace {

/** What phones write as the sender of a message that they send. */
constexpr const char* NO_SENDER_YET = "insert-address-token";
constexpr const char* RECEIVED = "1";

std::vector<std::string> listed_addresses(const BackupMessage& message) {
  std::vector<std::string> addresses;
  const std::string& list = message.address;
  for (std::size_t begin = 0; begin < list.size();) {
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

std::vector<Participant> addressed(const BackupMessage& message) {
  std::vector<Participant> participants;
  for (const BackupAddress& entry : message.addresses) {
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
  void add(const Participant& participant) {
    if (_addresses.add(participant.address)) {
      _places.emplace(participant.address, _participants.size());
      _participants.push_back(participant);
      return;
    }
    Participant& known = _participants[_places.at(*_addresses.find(participant.address))];
    known.recipientType = std::min(known.recipientType, participant.recipientType);
  }
  const AddressSet& addresses() const { return _addresses; }
  const std::vector<Participant>& participants() const { return _participants; }

 private:
  AddressSet _addresses;
  std::vector<Participant> _participants;
  std::unordered_map<std::string, std::size_t> _places;
};

std::vector<Participant> without(const AddressSet& own, std::vector<Participant> participants) {
  const auto isOwn = [&own](const Participant& one) { return own.contains(one.address); };
  const auto others = std::remove_if(participants.begin(), participants.end(), isOwn);
  participants.erase(others, participants.end());
  return participants;
}

}  // namespace

void OwnNumbers::add(const std::string& number) {
  const std::string normalised = normalised_address(number);
  if (is_phone_number(normalised)) _numbers.add(normalised);
}

void OwnNumbers::observe(const BackupMessage& message) {
  if (!message.isMultimedia) return;
  if (message.box == RECEIVED) {
    _observeReceived(message);
    return;
  }
  for (const BackupAddress& entry : message.addresses) {
    if (entry.type == ADDRESS_FROM) add(entry.address);
  }
}

void OwnNumbers::_observeReceived(const BackupMessage& message) {
  const std::string sender = sender_of(message);
  if (!sender.empty()) _senders.add(sender);

  AddressSet listed;
  for (const std::string& address : listed_addresses(message)) listed.add(address);
  Union recipients;
  for (const BackupAddress& entry : message.addresses) {
    const std::string address = normalised_address(entry.address);
    if (entry.type != ADDRESS_FROM && is_phone_number(address) &&
        !is_same_address(address, sender)) {
      recipients.add({address});
    }
  }
  if (recipients.participants().size() == 1) {
    _onlyRecipients.insert(recipients.participants().front().address);
  } else if (recipients.participants().size() > 1) {
    ++_groupMessages;
    for (const Participant& recipient : recipients.participants()) {
      if (!listed.contains(recipient.address)) ++_unlistedRecipients[recipient.address];
    }
  }
}

void OwnNumbers::conclude() {
  for (const std::string& number : _onlyRecipients) {
    if (!_senders.contains(number)) _numbers.add(number);
  }
  if (!_numbers.empty()) return;
  // The weakest sign counts only when there is no other: a member of a group who never writes
  // looks nearly the same, but is not in every group.
  for (const auto& [number, messages] : _unlistedRecipients) {
    if (messages == _groupMessages && !_senders.contains(number)) _numbers.add(number);
  }
}

NamedPeople named_people(const BackupMessage& message) {
  return {listed_addresses(message), addressed(message)};
}

std::vector<Participant> participants_of(const NamedPeople& people, const AddressSet& own) {
  // Nearly every message is a text with one person, who takes part, even if it is the owner.
  if (people.addressed.empty() && people.listed.size() == 1) return {{people.listed.front()}};

  Union named;
  for (const Participant& participant : people.addressed) named.add(participant);
  const bool namesOthers = !without(own, named.participants()).empty();

  Union all;
  for (const std::string& address : people.listed) {
    // A text that is nobody's address stands for the group, whose members are named.
    const bool isGroupName =
        namesOthers && !is_phone_number(address) && !named.addresses().contains(address);
    // A listed address counts as from or to only if nothing nearer is said of it.
    if (!isGroupName) all.add({address, named.addresses().contains(address) ? 3 : 1});
  }
  for (const Participant& participant : named.participants()) all.add(participant);

  const std::vector<Participant> others = without(own, all.participants());
  return others.empty() ? all.participants() : others;
}

std::vector<std::string> named_addresses(const NamedPeople& people) {
  std::vector<std::string> addresses = people.listed;
  for (const Participant& participant : people.addressed) addresses.push_back(participant.address);
  std::sort(addresses.begin(), addresses.end());
  addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
  return addresses;
}

std::string sender_of(const BackupMessage& message) {
  if (message.box != RECEIVED) return {};
  for (const BackupAddress& entry : message.addresses) {
    std::string address = normalised_address(entry.address);
    if (entry.type == ADDRESS_FROM && !address.empty() && address != NO_SENDER_YET) return address;
  }
  return {};
}

}  // namespace msg_tarvel::tool
