#compdef msg-tarvel
# zsh completion for msg-tarvel
# Printed by msg-tarvel-describe from the program's command line; script/describe writes it
# anew.

_msg-tarvel() {
  local -a everywhere=(
    '(-h --help)-h[Print this help message and exit]'
    '(-h --help)--help[Print this help message and exit]'
    '--help-all[Print the help of every command]'
    '--version[Display program version information and exit]'
    '--data-dir=[The directory of the store (default: $MSG_TARVEL_DATA_DIR, else $XDG_DATA_HOME/msg-tarvel/)]:DIR:_files -/'
    '--verbose[Print the library'\''s log to standard error]'
  )
  local -a commands=(
    'create:Makes the store, or what is missing of it'
    'import:Imports the XML that Android phones'\'' SMS/MMS backup programs write'
    'threads:Lists the conversations, newest first'
    'conversation:Shows the messages of a conversation, oldest first'
    'messages:Lists messages, newest first'
    'find-thread:Finds the conversation with exactly these people'
    'commands:Lists the commands that processes send each other'
    'buffer:Makes and explains serialized messages'
  )
  local curcontext=$curcontext state line ret=1
  _arguments -C $everywhere '1: :{_describe command commands}' '*:: :->rest' && ret=0
  if [[ $state == rest ]] && (( $+functions[_msg-tarvel-$line[1]] )); then
    _msg-tarvel-$line[1] && ret=0
  fi
  return ret
}

_msg-tarvel-create() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    '--no-indexes[Make no indexes]'
  )
  _arguments $everywhere $own
}

_msg-tarvel-import() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    '*--own-number=[A number of the phone'\''s owner, who is no participant of a conversation; may be repeated, and ends all guessing (default: what the store'\''s SIM cards and the file itself show)]:NUMBER: '
    '--keep-going[Take what is good of a damaged file, and say where it is damaged; exit status 1]'
    '--dry-run[Say what an import would do, and change nothing]'
    '--no-indexes[Add no indexes to a store that lacks them]'
    '*:FILE:_files'
  )
  _arguments $everywhere $own
}

_msg-tarvel-threads() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
  )
  _arguments $everywhere $own
}

_msg-tarvel-conversation() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    ':ID: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-messages() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    '--read-filter=[1: only read, another number: only unread, -1: all (the default); heeded in MAIN_FOLDER_1 and FOLDER_PAIR_1]:N: '
    '--ascending[Oldest first]'
    '--limit=[At most so many; 0: all (the default)]:N: '
    '--folder-type=[A number or name of FolderType (default: ALL_FOLDERS)]:FOLDER:(NO_FOLDER MAIN_FOLDER_1 MAIN_FOLDER_2 MAIN_FOLDER_3 MAIN_FOLDER_4 MAIN_FOLDER_5 STANDALONE_FOLDER_1 STANDALONE_FOLDER_2 STANDALONE_FOLDER_3 STANDALONE_FOLDER_4 STANDALONE_FOLDER_5 ALL_FOLDERS FOLDER_PAIR_1 FOLDER_PAIR_2 FOLDER_PAIR_3 FOLDER_PAIR_4 FOLDER_PAIR_5)'
    '--storage-id=[Only of this storage, if above 0]:N: '
    '--msg-type=[Only of this type, such as sms or mms]:TEXT: '
    '*--conv-ids=[Only of these conversations]:ID[,ID...]: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-find-thread() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    '*:NUMBER: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-commands() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    ':NAME|NUMBER:(read_message read_thread delete_message delete_thread delete_threads set_active_thread_id send_change_sms_application_request add_message send_message resend_message show_on_device get_content_file send_content_file restore_block_message update_group_chat_address export_to_phone update_retrieve_mms_message nms_add_message nms_delete_message_by_time nms_send_message nms_resend_message nms_add_msg_meta nms_update_msg_meta nms_delete_msg_meta nms_delete_invalid_msg_meta nms_handle_resetbox nms_download_mms nms_update_message_network_status nms_update_subscription_info)'
  )
  _arguments $everywhere $own
}

_msg-tarvel-buffer() {
  local -a commands=(
    'encode:Serializes a message of the store'
    'show:Shows every field of a buffer, as far as it is good'
    'check:Says whether a file is one well-formed buffer'
  )
  local curcontext=$curcontext state line ret=1
  _arguments -C $everywhere '1: :{_describe command commands}' '*:: :->rest' && ret=0
  if [[ $state == rest ]] && (( $+functions[_msg-tarvel-buffer-$line[1]] )); then
    _msg-tarvel-buffer-$line[1] && ret=0
  fi
  return ret
}

_msg-tarvel-buffer-encode() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    '(-o --output)-o+[Where to (default: standard output)]:FILE:_files'
    '(-o --output)--output=[Where to (default: standard output)]:FILE:_files'
    ':MSGID: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-buffer-show() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    ':FILE:_files'
  )
  _arguments $everywhere $own
}

_msg-tarvel-buffer-check() {
  local -a own=(
    '--json[Print JSON, every field as it is stored]'
    ':FILE:_files'
  )
  _arguments $everywhere $own
}

_msg-tarvel "$@"
