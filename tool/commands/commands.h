#pragma once

namespace msg_tarvel::tool {

class CommandSet;

// Each declares a command with its arguments and what it does.

void declare_create(CommandSet& commands);
void declare_check(CommandSet& commands);
void declare_repair(CommandSet& commands);
void declare_backup(CommandSet& commands);
void declare_import(CommandSet& commands);
void declare_info(CommandSet& commands);
void declare_threads(CommandSet& commands);
void declare_messages(CommandSet& commands);
void declare_conversation(CommandSet& commands);
void declare_message(CommandSet& commands);
void declare_find(CommandSet& commands);
void declare_query(CommandSet& commands);
/** `ipc`, the registry of what processes send each other. */
void declare_ipc(CommandSet& commands);
/** `buffer encode`, `buffer show` and `buffer check`. */
void declare_buffer(CommandSet& commands);

}  // namespace msg_tarvel::tool
