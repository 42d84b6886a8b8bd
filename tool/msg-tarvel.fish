# fish completion for msg-tarvel
# Printed by msg-tarvel-describe from the program's command line; script/describe writes it
# anew.

# Whether the command of the line is the one that the arguments name.
function __msg_tarvel_at
    set -l words (commandline -opc)
    set -e words[1]
    set -l command
    set -l value no
    for word in $words
        if test $value = yes
            set value no
            continue
        end
        switch $word
            case --data-dir --seed --messages --conversations --conv --with --since --until --text --folder --type --limit --format --media --own-number -o --output
                set value yes
            case '-*'
            case '*'
                set -l longer (string join ' ' $command $word)
                switch $longer
                    case 'create' 'generate' 'check' 'repair' 'backup' 'export' 'import' 'info' 'threads' 'messages' 'conversation' 'message' 'find' 'query' 'ipc' 'buffer' 'buffer encode' 'buffer show' 'buffer check'
                        set command $longer
                end
        end
    end
    test "$command" = "$argv"
end

complete -c msg-tarvel -f
complete -c msg-tarvel -s h -l help -d 'Print this help message and exit'
complete -c msg-tarvel -l help-all -d 'Print the help of every command'
complete -c msg-tarvel -l version -d 'Display program version information and exit'
complete -c msg-tarvel -l data-dir -d 'The directory of the store (default: $MSG_TARVEL_DATA_DIR, else $XDG_DATA_HOME/msg-tarvel/)' -r -f -a '(__fish_complete_directories)'
complete -c msg-tarvel -l json -d 'Print JSON, as each command\'s own option does'
complete -c msg-tarvel -l verbose -d 'Print the library\'s log to standard error'
complete -c msg-tarvel -n '__msg_tarvel_at' -a create -d 'Makes the store, or what is missing of it'
complete -c msg-tarvel -n '__msg_tarvel_at' -a generate -d 'Fills an empty store with messages that nobody wrote'
complete -c msg-tarvel -n '__msg_tarvel_at' -a check -d 'Looks for what is wrong with the store'
complete -c msg-tarvel -n '__msg_tarvel_at' -a repair -d 'Mends what is wrong with the store and needs no guessing'
complete -c msg-tarvel -n '__msg_tarvel_at' -a backup -d 'Writes the store\'s database to a file, while others use it'
complete -c msg-tarvel -n '__msg_tarvel_at' -a export -d 'Prints messages for another store, or for a phone'
complete -c msg-tarvel -n '__msg_tarvel_at' -a import -d 'Imports the XML that Android phones\' SMS/MMS backup programs write'
complete -c msg-tarvel -n '__msg_tarvel_at' -a info -d 'Says where the store is, what it holds and which settings count'
complete -c msg-tarvel -n '__msg_tarvel_at' -a threads -d 'Lists the conversations, newest first'
complete -c msg-tarvel -n '__msg_tarvel_at' -a messages -d 'Lists messages, newest first'
complete -c msg-tarvel -n '__msg_tarvel_at' -a conversation -d 'Lists the messages of a conversation, oldest first'
complete -c msg-tarvel -n '__msg_tarvel_at' -a message -d 'Shows all of a message'
complete -c msg-tarvel -n '__msg_tarvel_at' -a find -d 'Finds the conversation with exactly these people'
complete -c msg-tarvel -n '__msg_tarvel_at' -a query -d 'Asks one of the library\'s queries, and prints what it gives'
complete -c msg-tarvel -n '__msg_tarvel_at' -a ipc -d 'Lists the commands that processes send each other'
complete -c msg-tarvel -n '__msg_tarvel_at' -a buffer -d 'Makes and explains serialized messages'
complete -c msg-tarvel -n '__msg_tarvel_at create' -l no-indexes -d 'Make no indexes'
complete -c msg-tarvel -n '__msg_tarvel_at generate' -l seed -d 'Another number, another store' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at generate' -l messages -d 'How many messages' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at generate' -l conversations -d 'How many conversations (default: 60 for 1,000 messages, 600 for 100,000)' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at generate' -l no-indexes -d 'Add no indexes to the store'
complete -c msg-tarvel -n '__msg_tarvel_at repair' -l dry-run -d 'Say what would be done, and change nothing'
complete -c msg-tarvel -n '__msg_tarvel_at backup' -F
complete -c msg-tarvel -n '__msg_tarvel_at backup' -l redact -d 'Without what people wrote, and their numbers'
complete -c msg-tarvel -n '__msg_tarvel_at export' -l conv -d 'Only of these conversations' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l with -d 'Only of conversations with this person, the number in any form; given again, with that one too' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l since -d 'Only from this day or moment on: 2026-03-01, 2026-03-01T14:30, yesterday, 12h, 7d' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l until -d 'Only up to this day or moment, the whole of that day too' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l text -d 'Only with this in the text, the subject or a part, in upper or lower case' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l folder -d 'Only in this folder: inbox, outbox, sent, draft, a number, or all, hidden ones too' -r -f -a 'inbox outbox sent draft all'
complete -c msg-tarvel -n '__msg_tarvel_at export' -l unread -d 'Only received and not read'
complete -c msg-tarvel -n '__msg_tarvel_at export' -l failed -d 'Only what could not be sent'
complete -c msg-tarvel -n '__msg_tarvel_at export' -l type -d 'Only of this type, such as sms or mms' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l limit -d 'At most so many; 0: all (the default)' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l format -d 'jsonl (default) or xml' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at export' -l media -d 'Write the files into this directory instead of the lines' -r -f -a '(__fish_complete_directories)'
complete -c msg-tarvel -n '__msg_tarvel_at import' -F
complete -c msg-tarvel -n '__msg_tarvel_at import' -l own-number -d 'A number of the phone\'s owner, who is no participant of a conversation; may be repeated, and ends all guessing (default: what the store\'s SIM cards and the file itself show)' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at import' -l keep-going -d 'Take what is good of a damaged file, and say where it is damaged; exit status 1'
complete -c msg-tarvel -n '__msg_tarvel_at import' -l dry-run -d 'Say what an import would do, and change nothing'
complete -c msg-tarvel -n '__msg_tarvel_at import' -l media -d 'Where the files of an export lie that was written with --media' -r -f -a '(__fish_complete_directories)'
complete -c msg-tarvel -n '__msg_tarvel_at import' -l no-indexes -d 'Add no indexes to a store that lacks them'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l conv -d 'Only of these conversations' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l with -d 'Only of conversations with this person, the number in any form; given again, with that one too' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l since -d 'Only from this day or moment on: 2026-03-01, 2026-03-01T14:30, yesterday, 12h, 7d' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l until -d 'Only up to this day or moment, the whole of that day too' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l text -d 'Only with this in the text, the subject or a part, in upper or lower case' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l folder -d 'Only in this folder: inbox, outbox, sent, draft, a number, or all, hidden ones too' -r -f -a 'inbox outbox sent draft all'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l unread -d 'Only received and not read'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l failed -d 'Only what could not be sent'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l type -d 'Only of this type, such as sms or mms' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l limit -d 'At most so many; 0: all (the default)' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l ascending -d 'Oldest first'
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l with -d 'Only of conversations with this person, the number in any form; given again, with that one too' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l since -d 'Only from this day or moment on: 2026-03-01, 2026-03-01T14:30, yesterday, 12h, 7d' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l until -d 'Only up to this day or moment, the whole of that day too' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l text -d 'Only with this in the text, the subject or a part, in upper or lower case' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l folder -d 'Only in this folder: inbox, outbox, sent, draft, a number, or all, hidden ones too' -r -f -a 'inbox outbox sent draft all'
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l unread -d 'Only received and not read'
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l failed -d 'Only what could not be sent'
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l type -d 'Only of this type, such as sms or mms' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l limit -d 'At most so many; 0: all (the default)' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at find' -l explain -d 'Say how the numbers are compared, and with which of the store\'s'
complete -c msg-tarvel -n '__msg_tarvel_at query' -f -a 'db_get_message db_get_message_list db_get_standalone_messages db_get_messages_by_time db_get_unsynced_messages db_get_deleted_messages db_check_thread_address_exist db_get_thread db_get_threads db_get_conversation db_get_conversations db_get_addresses db_get_sim_infos db_get_contents db_get_sending_msg_content_info db_get_sending_file_content_info db_get_nms_msg_meta db_has_download_required_message db_get_uncorrelated_nms_msg_metas db_get_sync_required_nms_msg_metas db_get_download_required_nms_msg_metas db_get_subscription_info'
complete -c msg-tarvel -n '__msg_tarvel_at ipc' -f -a 'read_message read_thread delete_message delete_thread delete_threads set_active_thread_id send_change_sms_application_request add_message send_message resend_message show_on_device get_content_file send_content_file restore_block_message update_group_chat_address export_to_phone update_retrieve_mms_message nms_add_message nms_delete_message_by_time nms_send_message nms_resend_message nms_add_msg_meta nms_update_msg_meta nms_delete_msg_meta nms_delete_invalid_msg_meta nms_handle_resetbox nms_download_mms nms_update_message_network_status nms_update_subscription_info'
complete -c msg-tarvel -n '__msg_tarvel_at ipc' -l introspection -d 'Print D-Bus introspection XML, as gdbus-codegen takes it'
complete -c msg-tarvel -n '__msg_tarvel_at buffer' -a encode -d 'Serializes a message of the store'
complete -c msg-tarvel -n '__msg_tarvel_at buffer' -a show -d 'Shows every field of a buffer, as far as it is good'
complete -c msg-tarvel -n '__msg_tarvel_at buffer' -a check -d 'Says whether a file is one well-formed buffer'
complete -c msg-tarvel -n '__msg_tarvel_at buffer encode' -s o -l output -d 'Where to (default: standard output)' -r -F
complete -c msg-tarvel -n '__msg_tarvel_at buffer show' -F
complete -c msg-tarvel -n '__msg_tarvel_at buffer check' -F
