#include "msg-tarvel-common/ipc/MsgIPC.h"

#include "log.h"

namespace msg_tarvel {

namespace {

struct Command {
  MsgIPC::IpcCommand number;
  const char* methodName;
  /** GVariant notation; one character for each parameter. */
  const char* type;
};

constexpr Command COMMANDS[] = {
    {MsgIPC::READ_MESSAGE, "read_message", "(ii)"},
    {MsgIPC::READ_THREAD, "read_thread", "(i)"},
    {MsgIPC::DELETE_MESSAGE, "delete_message", "(ii)"},
    {MsgIPC::DELETE_THREAD, "delete_thread", "(i)"},
    {MsgIPC::DELETE_THREADS, "delete_threads", "(v)"},
    {MsgIPC::SET_ACTIVE_THREAD_ID, "set_active_thread_id", "(i)"},
    {MsgIPC::SEND_CHANGE_SMS_APPLICATION_REQUEST, "send_change_sms_application_request", "(b)"},
    {MsgIPC::ADD_MESSAGE, "add_message", "(sisssi)"},
    {MsgIPC::SEND_MESSAGE, "send_message", "(sisssi)"},
    {MsgIPC::RESEND_MESSAGE, "resend_message", "(i)"},
    {MsgIPC::SHOW_ON_DEVICE, "show_on_device", "(i)"},
    {MsgIPC::GET_CONTENT_FILE, "get_content_file", "(is)"},
    {MsgIPC::SEND_CONTENT_FILE, "send_content_file", "(is)"},
    {MsgIPC::RESTORE_BLOCK_MESSAGE, "restore_block_message", "(i)"},
    {MsgIPC::UPDATE_GROUP_CHAT_ADDRESS, "update_group_chat_address", "(i)"},
    {MsgIPC::EXPORT_TO_PHONE, "export_to_phone", "(i)"},
    {MsgIPC::UPDATE_RETRIEVE_MMS_MESSAGE, "update_retrieve_mms_message", "(i)"},
    {MsgIPC::NMS_ADD_MESSAGE, "nms_add_message", "(vi)"},
    {MsgIPC::NMS_DELETE_MESSAGE_BY_TIME, "nms_delete_message_by_time", "(i)"},
    {MsgIPC::NMS_SEND_MESSAGE, "nms_send_message", "(sisss)"},
    {MsgIPC::NMS_RESEND_MESSAGE, "nms_resend_message", "(i)"},
    {MsgIPC::NMS_ADD_MSG_META, "nms_add_msg_meta", "(vi)"},
    {MsgIPC::NMS_UPDATE_MSG_META, "nms_update_msg_meta", "(isvi)"},
    {MsgIPC::NMS_DELETE_MSG_META, "nms_delete_msg_meta", "(is)"},
    {MsgIPC::NMS_DELETE_INVALID_MSG_META, "nms_delete_invalid_msg_meta", "()"},
    {MsgIPC::NMS_HANDLE_RESETBOX, "nms_handle_resetbox", "()"},
    {MsgIPC::NMS_DOWNLOAD_MMS, "nms_download_mms", "(i)"},
    {MsgIPC::NMS_UPDATE_MESSAGE_NETWORK_STATUS, "nms_update_message_network_status", "(ii)"},
    {MsgIPC::NMS_UPDATE_SUBSCRIPTION_INFO, "nms_update_subscription_info", "(ts)"},
};

constexpr std::size_t PARENTHESES = 2;

/** Method name and type string of `cmd`; null for a number that is no command. */
template <typename Map>
const typename Map::mapped_type* find(const Map& commands, MsgIPC::IpcCommand cmd,
                                      log::CallSite site = log::CallSite::here()) {
  if (cmd >= MsgIPC::IPC_COMMAND_NONE) {
    MSG_TARVEL_ERROR_AT(site, "input command is out of bound [%d]", cmd);
    return nullptr;
  }
  // Numbers between the last command and the bound, and negative ones, are no commands either.
  const auto found = commands.find(cmd);
  return found == commands.end() ? nullptr : &found->second;
}

}  // namespace

MsgIPC::MsgIPC() {
  for (const Command& command : COMMANDS) {
    cmdMap.emplace(command.number, std::make_pair(command.methodName, command.type));
  }
}

MsgIPC::MsgIPC(const MsgIPC& other) = default;

MsgIPC& MsgIPC::operator=(const MsgIPC& other) = default;

MsgIPC::~MsgIPC() = default;

MsgIPC::IpcCommand MsgIPC::getCmdByMethodName(const std::string& name) const {
  for (const auto& [command, texts] : cmdMap) {
    if (texts.first == name) return command;
  }
  MSG_TARVEL_ERROR("IPC Command named with [%s] is not found", name.c_str());
  return IPC_COMMAND_NONE;
}

std::string MsgIPC::getCmdString(IpcCommand cmd) const {
  const auto* const texts = find(cmdMap, cmd);
  return texts ? texts->first : std::string();
}

std::string MsgIPC::getCmdStruct(IpcCommand cmd) const {
  const auto* const texts = find(cmdMap, cmd);
  return texts ? "(" + texts->second + ")" : std::string();
}

unsigned int MsgIPC::getCmdStructLenth(IpcCommand cmd) const {
  const auto* const texts = find(cmdMap, cmd);
  return texts ? static_cast<unsigned int>(texts->second.size() - PARENTHESES) : 0;
}

}  // namespace msg_tarvel
