// The process that owns the message store, to copy from. It makes the store; then two threads write
// to it at the same time: one stores what arrives, the other what the user of the watch sends. Run
// it again, or as another user of group 5000: everyone's messages end up in one conversation.

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>
#include <msg-tarvel-common/item/Message.h>

#include <chrono>
#include <exception>
#include <future>
#include <iostream>

#include "helpers/folders.h"
#include "helpers/network_status.h"
#include "helpers/same_address.h"
#include "helpers/store_error.h"
#include "helpers/store_maker.h"
#include "helpers/store_writer.h"
#include "helpers/transaction.h"

namespace {

using msg_tarvel::Message;
namespace helpers = msg_tarvel::helpers;

constexpr int FROM_OR_TO = 1;  // of Address::recipientType
constexpr int FIRST_SIM = 1;   // what msg_sim_table would call the card

struct Stored {
  int msgId;
  int convId;
};

long long milliseconds_since_1970() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

Message text_message(int folder, const std::string& number, const std::string& text,
                     long long time) {
  msg_tarvel::Address participant;
  participant.address = helpers::normalised_address(number);
  participant.addressType = helpers::address_type_of(participant.address);
  participant.recipientType = FROM_OR_TO;

  Message message;
  message.addresses.push_back(participant);
  message.msgType = "sms";
  message.storageFolder = folder;
  message.simIndex = FIRST_SIM;
  message.displayTime = time;
  message.mainText = text;
  message.textMessage = text;
  message.read = !helpers::is_inbox(folder);
  return message;
}

Message incoming_message() {
  return text_message(msg_tarvel::MAIN_FOLDER_1, "+1 415 555 0100", "Are you coming?",
                      milliseconds_since_1970());
}

Message reply_to(const Message& incoming) {
  Message reply = text_message(msg_tarvel::MAIN_FOLDER_2, incoming.addresses.front().address,
                               "On my way", incoming.displayTime + 1);
  reply.networkStatus = helpers::NETWORK_SENDING;
  return reply;
}

/**
 * All that a message changes, in one transaction. The conversation is looked for under the write
 * lock, so that no other writer makes it meanwhile.
 */
Stored store(const Message& message) {
  helpers::Transaction transaction;
  helpers::StoreWriter writer;
  const int convId = writer.conversationOf(message);
  const int msgId = writer.addMessage(convId, message);
  writer.updateConversations();
  transaction.commit();
  return {msgId, convId};
}

/** What a thread that writes does: its connection is its own, and closed before the thread ends. */
Stored write(const Message& message) {
  const helpers::StoreSession session;
  return store(message);
}

void tell(const char* what, const Stored& stored) {
  std::cout << what << ": message " << stored.msgId << " in conversation " << stored.convId << "\n";
}

void own_store() {
  const helpers::StoreSession session;
  helpers::make_store();  // while there is no other thread: it changes the process's umask

  const Message incoming = incoming_message();
  auto received = std::async(std::launch::async, write, incoming);
  auto sent = std::async(std::launch::async, write, reply_to(incoming));
  tell("received", received.get());
  tell("sent", sent.get());
  std::cout << "stored in " << msg_tarvel::db::get_db_filepath() << "\n";
}

}  // namespace

int main() {
  try {
    own_store();
    return 0;
  } catch (const helpers::UnknownOutcome& error) {
    // Trying again could store the message twice: look first whether it is there.
    std::cerr << error.what() << "; it may be stored or not\n";
  } catch (const helpers::StoreError& error) {
    std::cerr << error.what() << ": " << msg_tarvel::db::db_error_text(error.code()) << "\n";
  } catch (const std::exception& error) {
    // No memory, or no thread: what was told as stored is.
    std::cerr << error.what() << "\n";
  }
  return 1;
}
