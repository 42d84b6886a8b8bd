#include "import/participants.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include "interrupt.h"

namespace msg_tarvel::tool {
namespace {

constexpr const char* A = "+14155550111";
constexpr const char* B = "+14155550122";
constexpr const char* C = "+14155550133";
constexpr const char* OWNER = "+14155550100";
constexpr const char* TOKEN = "insert-address-token";

BackupMessage multimedia(const std::string& box, const std::string& address,
                         std::vector<BackupAddress> addresses) {
  BackupMessage message;
  message.isMultimedia = true;
  message.box = box;
  message.address = address;
  message.addresses = std::move(addresses);
  return message;
}

std::string listed(const std::string& first, const std::string& second,
                   const std::string& third = "") {
  return first + "~" + second + (third.empty() ? "" : "~" + third);
}

/** The addresses with their roles: "+1415:1 +1416:2". */
std::string described(const std::vector<Participant>& participants) {
  std::string text;
  for (const Participant& one : participants) {
    text += (text.empty() ? "" : " ") + one.address + ":" + std::to_string(one.recipientType);
  }
  return text;
}

std::string with(const std::string& address, int type) {
  return address + ":" + std::to_string(type);
}

class Participants : public ::testing::Test {
 protected:
  Participants() { setenv("MSG_TARVEL_SETTINGS", "/nonexistent/settings.ini", 1); }

  std::string of(const BackupMessage& message) {
    return described(participants_of(named_people(message), own));
  }

  helpers::AddressSet own;
};

TEST_F(Participants, OfATextAreItsAddresses) {
  BackupMessage message;
  message.address = "(415) 555-0111~Parcels~4155550111~null~";
  EXPECT_EQ(of(message), "4155550111:1 Parcels:1");
  message.address.clear();
  EXPECT_EQ(of(message), "");
}

TEST_F(Participants, OfAMultimediaMessageAreAllThatItNamesButTheOwner) {
  own.add(OWNER);
  EXPECT_EQ(of(multimedia("1", listed(A, OWNER), {{A, 137}, {"4155550100", 151}, {B, 151}})),
            with(A, 1) + " " + with(B, 1));
  EXPECT_EQ(of(multimedia("2", A, {{TOKEN, 137}, {A, 151}, {B, 130}, {C, 129}})),
            with(A, 1) + " " + with(B, 2) + " " + with(C, 3));
  EXPECT_EQ(of(multimedia("1", A, {{A, 130}, {A, 137}, {OWNER, 151}})), with(A, 1));
}

TEST_F(Participants, KeepTheOwnerWhenNobodyElseIsThere) {
  own.add(OWNER);
  EXPECT_EQ(of(multimedia("1", OWNER, {{OWNER, 137}, {OWNER, 151}})), with(OWNER, 1));
}

TEST_F(Participants, DoNotIncludeTheNameOfAGroup) {
  own.add(OWNER);
  const std::string group = "group_8@rcs.example.com";
  EXPECT_EQ(of(multimedia("1", group, {{A, 137}, {B, 130}, {OWNER, 151}})),
            with(A, 1) + " " + with(B, 2));
  // Without anybody else it is the address; so is an e-mail address that is named.
  EXPECT_EQ(of(multimedia("1", group, {{OWNER, 151}})), with(group, 1));
  EXPECT_EQ(of(multimedia("1", "n@example.org", {{"n@example.org", 137}, {OWNER, 151}})),
            "n@example.org:1");
}

/** The owner's numbers as these messages show them, in the order of `candidates`. */
std::vector<std::string> own_numbers(const std::vector<BackupMessage>& messages) {
  OwnNumbers numbers;
  for (const BackupMessage& message : messages) numbers.observe(message);
  numbers.conclude();
  std::vector<std::string> found;
  for (const char* candidate : {A, B, C, OWNER}) {
    if (numbers.numbers().contains(candidate)) found.emplace_back(candidate);
  }
  return found;
}

using Numbers = std::vector<std::string>;

TEST_F(Participants, TheOwnerSendsSentMessages) {
  EXPECT_EQ(own_numbers({multimedia("2", A, {{OWNER, 137}, {A, 151}})}), Numbers{OWNER});
  EXPECT_EQ(own_numbers({multimedia("2", A, {{TOKEN, 137}, {A, 151}})}), Numbers{});
}

TEST_F(Participants, TheOwnerIsTheOneRecipient) {
  EXPECT_EQ(own_numbers({multimedia("1", A, {{A, 137}, {A, 130}, {OWNER, 151}})}), Numbers{OWNER});
  // But not who sends to the owner elsewhere.
  EXPECT_EQ(own_numbers({multimedia("1", listed(A, B), {{A, 137}, {B, 151}}),
                         multimedia("1", B, {{B, 137}, {A, 151}, {OWNER, 151}})}),
            Numbers{OWNER});
}

TEST_F(Participants, TheOwnerIsInEveryGroupWithoutBeingListed) {
  EXPECT_EQ(own_numbers({multimedia("1", listed(A, B), {{A, 137}, {B, 151}, {OWNER, 151}}),
                         multimedia("1", listed(A, C), {{C, 137}, {A, 151}, {OWNER, 151}})}),
            Numbers{OWNER});
  // A silent member who is not listed is in some groups only.
  EXPECT_EQ(own_numbers({multimedia("1", A, {{A, 137}, {B, 151}, {OWNER, 151}}),
                         multimedia("1", A, {{A, 137}, {C, 151}, {OWNER, 151}})}),
            Numbers{OWNER});
}

// A phone that leaves its own number out lists a silent member like this, in every group.
TEST_F(Participants, WhoIsListedBesideEverySenderNeedNotBeTheOwner) {
  const BackupMessage one = multimedia("1", listed(A, C), {{A, 137}, {C, 151}});
  const BackupMessage other = multimedia("1", listed(B, C), {{B, 137}, {C, 151}});
  EXPECT_EQ(own_numbers({one, other, one, other}), Numbers{});
  EXPECT_EQ(own_numbers({one, other, multimedia("2", A, {{TOKEN, 137}, {A, 151}})}), Numbers{});
  // Unless it lists itself in what it sends.
  EXPECT_EQ(own_numbers({one, other, multimedia("2", listed(A, C), {{TOKEN, 137}, {A, 151}})}),
            Numbers{C});
  EXPECT_EQ(own_numbers({one, other, multimedia("2", listed(A, C), {{A, 151}, {C, 151}})}),
            Numbers{});
}

TEST_F(Participants, WeakSignsOfTheOwnerDoNotCountBesideStrongOnes) {
  EXPECT_EQ(own_numbers({multimedia("2", A, {{OWNER, 137}, {A, 151}}),
                         multimedia("1", A, {{A, 137}, {B, 151}, {OWNER, 151}})}),
            Numbers{OWNER});
}

// A message may name more of them than can be looked at before a user loses patience.
TEST_F(Participants, AreNotLookedAtToTheEndAfterAnInterrupt) {
  const BackupMessage list = multimedia("1", listed(A, B, C), {});
  const BackupMessage received = multimedia("1", "", {{A, 137}, {B, 151}, {C, 151}});
  const BackupMessage sent = multimedia("2", "", {{B, 151}, {C, 151}});
  const NamedPeople people = named_people(received);
  const InterruptGuard guard;
  raise(SIGTERM);
  EXPECT_THROW(named_people(list), Interrupted);
  EXPECT_THROW(named_people(received), Interrupted);
  EXPECT_THROW(participants_of(people, own), Interrupted);
  EXPECT_THROW(OwnNumbers().observe(list), Interrupted);
  EXPECT_THROW(OwnNumbers().observe(received), Interrupted);
  EXPECT_THROW(OwnNumbers().observe(sent), Interrupted);
}

}  // namespace
}  // namespace msg_tarvel::tool
