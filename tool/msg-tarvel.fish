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
            case --data-dir --own-number --read-filter --limit --folder-type --storage-id --msg-type --conv-ids -o --output
                set value yes
            case '-*'
            case '*'
                set -l longer (string join ' ' $command $word)
                switch $longer
                    case 'create' 'import' 'threads' 'conversation' 'messages' 'find-thread' 'commands' 'buffer' 'buffer encode' 'buffer show' 'buffer check'
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
complete -c msg-tarvel -l verbose -d 'Print the library\'s log to standard error'
complete -c msg-tarvel -n '__msg_tarvel_at' -a create -d 'Makes the store, or what is missing of it'
complete -c msg-tarvel -n '__msg_tarvel_at' -a import -d 'Imports the XML that Android phones\' SMS/MMS backup programs write'
complete -c msg-tarvel -n '__msg_tarvel_at' -a threads -d 'Lists the conversations, newest first'
complete -c msg-tarvel -n '__msg_tarvel_at' -a conversation -d 'Shows the messages of a conversation, oldest first'
complete -c msg-tarvel -n '__msg_tarvel_at' -a messages -d 'Lists messages, newest first'
complete -c msg-tarvel -n '__msg_tarvel_at' -a find-thread -d 'Finds the conversation with exactly these people'
complete -c msg-tarvel -n '__msg_tarvel_at' -a commands -d 'Lists the commands that processes send each other'
complete -c msg-tarvel -n '__msg_tarvel_at' -a buffer -d 'Makes and explains serialized messages'
complete -c msg-tarvel -n '__msg_tarvel_at create' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at create' -l no-indexes -d 'Make no indexes'
complete -c msg-tarvel -n '__msg_tarvel_at import' -F
complete -c msg-tarvel -n '__msg_tarvel_at import' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at import' -l own-number -d 'A number of the phone\'s owner, who is no participant of a conversation; may be repeated, and ends all guessing (default: what the store\'s SIM cards and the file itself show)' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at import' -l keep-going -d 'Take what is good of a damaged file, and say where it is damaged; exit status 1'
complete -c msg-tarvel -n '__msg_tarvel_at import' -l dry-run -d 'Say what an import would do, and change nothing'
complete -c msg-tarvel -n '__msg_tarvel_at import' -l no-indexes -d 'Add no indexes to a store that lacks them'
complete -c msg-tarvel -n '__msg_tarvel_at threads' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at conversation' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l read-filter -d '1: only read, another number: only unread, -1: all (the default); heeded in MAIN_FOLDER_1 and FOLDER_PAIR_1' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l ascending -d 'Oldest first'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l limit -d 'At most so many; 0: all (the default)' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l folder-type -d 'A number or name of FolderType (default: ALL_FOLDERS)' -r -f -a 'NO_FOLDER MAIN_FOLDER_1 MAIN_FOLDER_2 MAIN_FOLDER_3 MAIN_FOLDER_4 MAIN_FOLDER_5 STANDALONE_FOLDER_1 STANDALONE_FOLDER_2 STANDALONE_FOLDER_3 STANDALONE_FOLDER_4 STANDALONE_FOLDER_5 ALL_FOLDERS FOLDER_PAIR_1 FOLDER_PAIR_2 FOLDER_PAIR_3 FOLDER_PAIR_4 FOLDER_PAIR_5'
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l storage-id -d 'Only of this storage, if above 0' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l msg-type -d 'Only of this type, such as sms or mms' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at messages' -l conv-ids -d 'Only of these conversations' -r -f
complete -c msg-tarvel -n '__msg_tarvel_at find-thread' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at commands' -f -a 'read_message read_thread delete_message delete_thread delete_threads set_active_thread_id send_change_sms_application_request add_message send_message resend_message show_on_device get_content_file send_content_file restore_block_message update_group_chat_address export_to_phone update_retrieve_mms_message nms_add_message nms_delete_message_by_time nms_send_message nms_resend_message nms_add_msg_meta nms_update_msg_meta nms_delete_msg_meta nms_delete_invalid_msg_meta nms_handle_resetbox nms_download_mms nms_update_message_network_status nms_update_subscription_info'
complete -c msg-tarvel -n '__msg_tarvel_at commands' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at buffer' -a encode -d 'Serializes a message of the store'
complete -c msg-tarvel -n '__msg_tarvel_at buffer' -a show -d 'Shows every field of a buffer, as far as it is good'
complete -c msg-tarvel -n '__msg_tarvel_at buffer' -a check -d 'Says whether a file is one well-formed buffer'
complete -c msg-tarvel -n '__msg_tarvel_at buffer encode' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at buffer encode' -s o -l output -d 'Where to (default: standard output)' -r -F
complete -c msg-tarvel -n '__msg_tarvel_at buffer show' -F
complete -c msg-tarvel -n '__msg_tarvel_at buffer show' -l json -d 'Print JSON, every field as it is stored'
complete -c msg-tarvel -n '__msg_tarvel_at buffer check' -F
complete -c msg-tarvel -n '__msg_tarvel_at buffer check' -l json -d 'Print JSON, every field as it is stored'
