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
    '--json[Print JSON, as each command'\''s own option does]'
    '--verbose[Print the library'\''s log to standard error]'
  )
  local -a commands=(
    'create:Makes the store, or what is missing of it'
    'generate:Fills an empty store with messages that nobody wrote'
    'check:Looks for what is wrong with the store'
    'repair:Mends what is wrong with the store and needs no guessing'
    'backup:Writes the store'\''s database to a file, while others use it'
    'export:Prints messages for another store, or for a phone'
    'import:Imports the XML that Android phones'\'' SMS/MMS backup programs write'
    'info:Says where the store is, what it holds and which settings count'
    'threads:Lists the conversations, newest first'
    'messages:Lists messages, newest first'
    'conversation:Lists the messages of a conversation, oldest first'
    'message:Shows all of a message'
    'find:Finds the conversation with exactly these people'
    'query:Asks one of the library'\''s queries, and prints what it gives'
    'ipc:Lists the commands that processes send each other'
    'buffer:Makes and explains serialized messages'
  )
  local curcontext=$curcontext state line ret=1
  # Behind the command, its own function knows every option.
  _arguments -C $everywhere '(-)1: :{_describe command commands}' '(-)*:: :->rest' && ret=0
  if [[ $state == rest ]] && (( $+functions[_msg-tarvel-$line[1]] )); then
    _msg-tarvel-$line[1] && ret=0
  fi
  return ret
}

_msg-tarvel-create() {
  local -a own=(
    '--no-indexes[Make no indexes]'
  )
  _arguments $everywhere $own
}

_msg-tarvel-generate() {
  local -a own=(
    '--seed=[Another number, another store]:N: '
    '--messages=[How many messages]:N: '
    '--conversations=[How many conversations (default: 60 for 1,000 messages, 600 for 100,000)]:N: '
    '--no-indexes[Add no indexes to the store]'
  )
  _arguments $everywhere $own
}

_msg-tarvel-check() {
  local -a own=(
    '*:KIND: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-repair() {
  local -a own=(
    '--dry-run[Say what would be done, and change nothing]'
    '*:KIND: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-backup() {
  local -a own=(
    '--redact[Without what people wrote, and their numbers]'
    ':FILE:_files'
  )
  _arguments $everywhere $own
}

_msg-tarvel-export() {
  local -a own=(
    '*--conv=[Only of these conversations]:ID[,ID...]: '
    '*--with=[Only of conversations with this person, the number in any form; given again, with that one too]:NUMBER: '
    '--since=[Only from this day or moment on: 2026-03-01, 2026-03-01T14:30, yesterday, 12h, 7d]:TIME: '
    '--until=[Only up to this day or moment, the whole of that day too]:TIME: '
    '--text=[Only with this in the text, the subject or a part, in upper or lower case]:TEXT: '
    '--folder=[Only in this folder: inbox, outbox, sent, draft, a number, or all, hidden ones too]:FOLDER:(inbox outbox sent draft all)'
    '--unread[Only received and not read]'
    '--failed[Only what could not be sent]'
    '--type=[Only of this type, such as sms or mms]:TYPE: '
    '--limit=[At most so many; 0: all (the default)]:N: '
    '--format=[jsonl (default) or xml]:FORMAT\:{jsonl,xml}: '
    '--media=[Write the files into this directory instead of the lines]:DIR:_files -/'
  )
  _arguments $everywhere $own
}

_msg-tarvel-import() {
  local -a own=(
    '*--own-number=[A number of the phone'\''s owner, who is no participant of a conversation; may be repeated, and ends all guessing (default: what the store'\''s SIM cards and the file itself show)]:NUMBER: '
    '--keep-going[Take what is good of a damaged file, and say where it is damaged; exit status 1]'
    '--dry-run[Say what an import would do, and change nothing]'
    '--media=[Where the files of an export lie that was written with --media]:DIR:_files -/'
    '--no-indexes[Add no indexes to a store that lacks them]'
    '*:FILE:_files'
  )
  _arguments $everywhere $own
}

_msg-tarvel-info() {
  local -a own=(
  )
  _arguments $everywhere $own
}

_msg-tarvel-threads() {
  local -a own=(
  )
  _arguments $everywhere $own
}

_msg-tarvel-messages() {
  local -a own=(
    '*--conv=[Only of these conversations]:ID[,ID...]: '
    '*--with=[Only of conversations with this person, the number in any form; given again, with that one too]:NUMBER: '
    '--since=[Only from this day or moment on: 2026-03-01, 2026-03-01T14:30, yesterday, 12h, 7d]:TIME: '
    '--until=[Only up to this day or moment, the whole of that day too]:TIME: '
    '--text=[Only with this in the text, the subject or a part, in upper or lower case]:TEXT: '
    '--folder=[Only in this folder: inbox, outbox, sent, draft, a number, or all, hidden ones too]:FOLDER:(inbox outbox sent draft all)'
    '--unread[Only received and not read]'
    '--failed[Only what could not be sent]'
    '--type=[Only of this type, such as sms or mms]:TYPE: '
    '--limit=[At most so many; 0: all (the default)]:N: '
    '--ascending[Oldest first]'
  )
  _arguments $everywhere $own
}

_msg-tarvel-conversation() {
  local -a own=(
    '*--with=[Only of conversations with this person, the number in any form; given again, with that one too]:NUMBER: '
    '--since=[Only from this day or moment on: 2026-03-01, 2026-03-01T14:30, yesterday, 12h, 7d]:TIME: '
    '--until=[Only up to this day or moment, the whole of that day too]:TIME: '
    '--text=[Only with this in the text, the subject or a part, in upper or lower case]:TEXT: '
    '--folder=[Only in this folder: inbox, outbox, sent, draft, a number, or all, hidden ones too]:FOLDER:(inbox outbox sent draft all)'
    '--unread[Only received and not read]'
    '--failed[Only what could not be sent]'
    '--type=[Only of this type, such as sms or mms]:TYPE: '
    '--limit=[At most so many; 0: all (the default)]:N: '
    ':ID: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-message() {
  local -a own=(
    '*:ID: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-find() {
  local -a own=(
    '--explain[Say how the numbers are compared, and with which of the store'\''s]'
    '*:NUMBER: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-query() {
  local -a own=(
    '*:QUERY:(db_get_message db_get_message_list db_get_standalone_messages db_get_messages_by_time db_get_unsynced_messages db_get_deleted_messages db_check_thread_address_exist db_get_thread db_get_threads db_get_conversation db_get_conversations db_get_addresses db_get_sim_infos db_get_contents db_get_sending_msg_content_info db_get_sending_file_content_info db_get_nms_msg_meta db_has_download_required_message db_get_uncorrelated_nms_msg_metas db_get_sync_required_nms_msg_metas db_get_download_required_nms_msg_metas db_get_subscription_info)'
  )
  _arguments $everywhere $own
}

_msg-tarvel-ipc() {
  local -a own=(
    '--introspection[Print D-Bus introspection XML, as gdbus-codegen takes it]'
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
  # Behind the command, its own function knows every option.
  _arguments -C $everywhere '(-)1: :{_describe command commands}' '(-)*:: :->rest' && ret=0
  if [[ $state == rest ]] && (( $+functions[_msg-tarvel-buffer-$line[1]] )); then
    _msg-tarvel-buffer-$line[1] && ret=0
  fi
  return ret
}

_msg-tarvel-buffer-encode() {
  local -a own=(
    '(-o --output)-o+[Where to (default: standard output)]:FILE:_files'
    '(-o --output)--output=[Where to (default: standard output)]:FILE:_files'
    ':MSGID: '
  )
  _arguments $everywhere $own
}

_msg-tarvel-buffer-show() {
  local -a own=(
    ':FILE:_files'
  )
  _arguments $everywhere $own
}

_msg-tarvel-buffer-check() {
  local -a own=(
    ':FILE:_files'
  )
  _arguments $everywhere $own
}

_msg-tarvel "$@"
