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
    --folder)
      _msg_tarvel_words inbox outbox sent draft all
      return
      ;;
    --media)
      _msg_tarvel_files -d
      return
      ;;
    -o | --output)
      _msg_tarvel_files -f
      return
      ;;
    --seed | --messages | --conversations | --conv | --with | --since | --until | --text | --type | --limit | --format | --own-number)
      return
      ;;
  esac

  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --data-dir | --seed | --messages | --conversations | --conv | --with | --since | --until | --text | --folder | --type | --limit | --format | --media | --own-number | -o | --output)
        [ "${COMP_WORDS[i + 1]}" != = ] || ((i++))
        ((i++))
        ;;
      -*) ;;
      *)
        case ${command:+$command }${COMP_WORDS[i]} in
          'create' | 'generate' | 'check' | 'repair' | 'backup' | 'export' | 'import' | 'info' | 'threads' | 'messages' | 'conversation' | 'message' | 'find' | 'query' | 'ipc' | 'buffer' | 'buffer encode' | 'buffer show' | 'buffer check')
            command=${command:+$command }${COMP_WORDS[i]}
            ;;
        esac
        ;;
    esac
  done

  case $command in
    '')
      options='-h --help --help-all --version --data-dir --json --verbose'
      argument='_msg_tarvel_words create generate check repair backup export import info threads messages conversation message find query ipc buffer'
      ;;
    'create')
      options='-h --help --help-all --version --data-dir --json --verbose --no-indexes'
      ;;
    'generate')
      options='-h --help --help-all --version --data-dir --json --verbose --seed --messages --conversations --no-indexes'
      ;;
    'check')
      options='-h --help --help-all --version --data-dir --json --verbose'
      ;;
    'repair')
      options='-h --help --help-all --version --data-dir --json --verbose --dry-run'
      ;;
    'backup')
      options='-h --help --help-all --version --data-dir --json --verbose --redact'
      argument='_msg_tarvel_files -f'
      ;;
    'export')
      options='-h --help --help-all --version --data-dir --json --verbose --conv --with --since --until --text --folder --unread --failed --type --limit --format --media'
      ;;
    'import')
      options='-h --help --help-all --version --data-dir --json --verbose --own-number --keep-going --dry-run --media --no-indexes'
      argument='_msg_tarvel_files -f'
      ;;
    'info')
      options='-h --help --help-all --version --data-dir --json --verbose'
      ;;
    'threads')
      options='-h --help --help-all --version --data-dir --json --verbose'
      ;;
    'messages')
      options='-h --help --help-all --version --data-dir --json --verbose --conv --with --since --until --text --folder --unread --failed --type --limit --ascending'
      ;;
    'conversation')
      options='-h --help --help-all --version --data-dir --json --verbose --with --since --until --text --folder --unread --failed --type --limit'
      ;;
    'message')
      options='-h --help --help-all --version --data-dir --json --verbose'
      ;;
    'find')
      options='-h --help --help-all --version --data-dir --json --verbose --explain'
      ;;
    'query')
      options='-h --help --help-all --version --data-dir --json --verbose'
      argument='_msg_tarvel_words db_get_message db_get_message_list db_get_standalone_messages db_get_messages_by_time db_get_unsynced_messages db_get_deleted_messages db_check_thread_address_exist db_get_thread db_get_threads db_get_conversation db_get_conversations db_get_addresses db_get_sim_infos db_get_contents db_get_sending_msg_content_info db_get_sending_file_content_info db_get_nms_msg_meta db_has_download_required_message db_get_uncorrelated_nms_msg_metas db_get_sync_required_nms_msg_metas db_get_download_required_nms_msg_metas db_get_subscription_info'
      ;;
    'ipc')
      options='-h --help --help-all --version --data-dir --json --verbose --introspection'
      argument='_msg_tarvel_words read_message read_thread delete_message delete_thread delete_threads set_active_thread_id send_change_sms_application_request add_message send_message resend_message show_on_device get_content_file send_content_file restore_block_message update_group_chat_address export_to_phone update_retrieve_mms_message nms_add_message nms_delete_message_by_time nms_send_message nms_resend_message nms_add_msg_meta nms_update_msg_meta nms_delete_msg_meta nms_delete_invalid_msg_meta nms_handle_resetbox nms_download_mms nms_update_message_network_status nms_update_subscription_info'
      ;;
    'buffer')
      options='-h --help --help-all --version --data-dir --json --verbose'
      argument='_msg_tarvel_words encode show check'
      ;;
    'buffer encode')
      options='-h --help --help-all --version --data-dir --json --verbose -o --output'
      ;;
    'buffer show')
      options='-h --help --help-all --version --data-dir --json --verbose'
      argument='_msg_tarvel_files -f'
      ;;
    'buffer check')
      options='-h --help --help-all --version --data-dir --json --verbose'
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
