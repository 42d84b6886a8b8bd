#pragma once

#include <map>
#include <string>
#include <utility>

#include "../export.h"

namespace msg_tarvel {

/**
 * The registry of the inter-process commands: each has a number, a method name and a GVariant type
 * string for its parameters. It sends nothing itself.
 *
 * \code
 * const MsgIPC registry;
 * const MsgIPC::IpcCommand command = registry.getCmdByMethodName("read_message");
 * if (command == MsgIPC::READ_MESSAGE) {
 *   std::cout << registry.getCmdString(command) << registry.getCmdStruct(command) << "\n";
 * }
 * \endcode
 *
 * An object never changes once it is built and may then be shared by threads. Making and copying
 * one and the functions that return a text throw std::bad_alloc.
 */
class MSG_TARVEL_EXPORT MsgIPC {
 public:
  /**
   * The numbers of the commands. Each has the method name of its enumerator in lower case; what the
   * parameters mean is between caller and server.
   */
  enum IpcCommand : int {
    READ_MESSAGE = 0,
    READ_THREAD = 1,
    DELETE_MESSAGE = 2,
    DELETE_THREAD = 3,
    DELETE_THREADS = 4,
    SET_ACTIVE_THREAD_ID = 5,
    SEND_CHANGE_SMS_APPLICATION_REQUEST = 6,
    ADD_MESSAGE = 7,
    SEND_MESSAGE = 8,
    RESEND_MESSAGE = 9,
    SHOW_ON_DEVICE = 10,
    GET_CONTENT_FILE = 11,
    SEND_CONTENT_FILE = 12,
    RESTORE_BLOCK_MESSAGE = 13,
    UPDATE_GROUP_CHAT_ADDRESS = 14,
    EXPORT_TO_PHONE = 15,
    UPDATE_RETRIEVE_MMS_MESSAGE = 16,
    NMS_ADD_MESSAGE = 17,
    NMS_DELETE_MESSAGE_BY_TIME = 18,
    NMS_SEND_MESSAGE = 19,
    NMS_RESEND_MESSAGE = 20,
    NMS_ADD_MSG_META = 21,
    NMS_UPDATE_MSG_META = 22,
    NMS_DELETE_MSG_META = 23,
    NMS_DELETE_INVALID_MSG_META = 24,
    NMS_HANDLE_RESETBOX = 25,
    NMS_DOWNLOAD_MMS = 26,
    NMS_UPDATE_MESSAGE_NETWORK_STATUS = 27,
    NMS_UPDATE_SUBSCRIPTION_INFO = 28,
    /** No command; what looking up an unknown name gives. */
    IPC_COMMAND_NONE = 999,
  };

  /** Builds the table of all commands. */
  MsgIPC();
  /** Copies the table. */
  MsgIPC(const MsgIPC& other);
  /** Copies the table. */
  MsgIPC& operator=(const MsgIPC& other);
  ~MsgIPC();

  /** The command whose method name equals `name` in full; IPC_COMMAND_NONE for none. */
  IpcCommand getCmdByMethodName(const std::string& name) const;

  // For a number that is no command, each of these gives an empty text or 0.

  /** The method name of `cmd`. */
  std::string getCmdString(IpcCommand cmd) const;
  /** The type string of `cmd` in one more pair of parentheses: "((ii))". */
  std::string getCmdStruct(IpcCommand cmd) const;
  /** The number of parameters of `cmd`. */
  unsigned int getCmdStructLenth(IpcCommand cmd) const;

  /** Method name and type string of every command, in the order of the numbers; only to be read. */
  std::map<IpcCommand, std::pair<std::string, std::string>> cmdMap;
};

}  // namespace msg_tarvel
