# bash completion for msg-tarvel                                 -*- shell-script -*-
# Printed by msg-tarvel-describe from the program's command line; script/describe writes it
# anew.

_msg_tarvel_words() { mapfile -t COMPREPLY < <(compgen -W "$*" -- "$current"); }

_msg_tarvel_files() {
  mapfile -t COMPREPLY < <(compgen "$1" -- "$current")
  compopt -o filenames 2>/dev/null || true
}

_msg_tarvel() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local i command='' options='' argument=''
  COMPREPLY=()
  # bash makes a word of the = between an option and its value.
  if [ "$current" = = ]; then
    current=''
  elif [ "$previous" = = ]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  case $previous in
    --data-dir)
      _msg_tarvel_files -d
      return
      ;;
    --folder-type)
      _msg_tarvel_words NO_FOLDER MAIN_FOLDER_1 MAIN_FOLDER_2 MAIN_FOLDER_3 MAIN_FOLDER_4 MAIN_FOLDER_5 STANDALONE_FOLDER_1 STANDALONE_FOLDER_2 STANDALONE_FOLDER_3 STANDALONE_FOLDER_4 STANDALONE_FOLDER_5 ALL_FOLDERS FOLDER_PAIR_1 FOLDER_PAIR_2 FOLDER_PAIR_3 FOLDER_PAIR_4 FOLDER_PAIR_5
      return
      ;;
    -o | --output)
      _msg_tarvel_files -f
      return
      ;;
    --own-number | --read-filter | --limit | --storage-id | --msg-type | --conv-ids)
      return
      ;;
  esac

  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --data-dir | --own-number | --read-filter | --limit | --folder-type | --storage-id | --msg-type | --conv-ids | -o | --output)
        [ "${COMP_WORDS[i + 1]}" != = ] || ((i++))
        ((i++))
        ;;
      -*) ;;
      *)
        case ${command:+$command }${COMP_WORDS[i]} in
          'create' | 'import' | 'threads' | 'conversation' | 'messages' | 'find-thread' | 'commands' | 'buffer' | 'buffer encode' | 'buffer show' | 'buffer check')
            command=${command:+$command }${COMP_WORDS[i]}
            ;;
        esac
        ;;
    esac
  done

  case $command in
    '')
      options='-h --help --help-all --version --data-dir --verbose'
      argument='_msg_tarvel_words create import threads conversation messages find-thread commands buffer'
      ;;
    'create')
      options='-h --help --help-all --version --data-dir --verbose --json --no-indexes'
      ;;
    'import')
      options='-h --help --help-all --version --data-dir --verbose --json --own-number --keep-going --dry-run --no-indexes'
      argument='_msg_tarvel_files -f'
      ;;
    'threads')
      options='-h --help --help-all --version --data-dir --verbose --json'
      ;;
    'conversation')
      options='-h --help --help-all --version --data-dir --verbose --json'
      ;;
    'messages')
      options='-h --help --help-all --version --data-dir --verbose --json --read-filter --ascending --limit --folder-type --storage-id --msg-type --conv-ids'
      ;;
    'find-thread')
      options='-h --help --help-all --version --data-dir --verbose --json'
      ;;
    'commands')
      options='-h --help --help-all --version --data-dir --verbose --json'
      argument='_msg_tarvel_words read_message read_thread delete_message delete_thread delete_threads set_active_thread_id send_change_sms_application_request add_message send_message resend_message show_on_device get_content_file send_content_file restore_block_message update_group_chat_address export_to_phone update_retrieve_mms_message nms_add_message nms_delete_message_by_time nms_send_message nms_resend_message nms_add_msg_meta nms_update_msg_meta nms_delete_msg_meta nms_delete_invalid_msg_meta nms_handle_resetbox nms_download_mms nms_update_message_network_status nms_update_subscription_info'
      ;;
    'buffer')
      options='-h --help --help-all --version --data-dir --verbose'
      argument='_msg_tarvel_words encode show check'
      ;;
    'buffer encode')
      options='-h --help --help-all --version --data-dir --verbose --json -o --output'
      ;;
    'buffer show')
      options='-h --help --help-all --version --data-dir --verbose --json'
      argument='_msg_tarvel_files -f'
      ;;
    'buffer check')
      options='-h --help --help-all --version --data-dir --verbose --json'
      argument='_msg_tarvel_files -f'
      ;;
  esac
  if [[ $current == -* ]]; then
    _msg_tarvel_words "$options"
  else
    $argument
  fi
}

complete -F _msg_tarvel msg-tarvel
