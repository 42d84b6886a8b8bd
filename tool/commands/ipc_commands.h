#pragma once

#include <string>

#include "print/items.h"

namespace msg_tarvel::tool {

// The commands about what travels between processes; see commands.h for what they return and throw.

/** The registry, or the one command with this name or number. */
int list_ipc_commands(const Output& output, const std::string& nameOrNumber);

/** Writes a message of the store, serialized, to the file `path`; without one, to `output`. */
int encode_buffer(const Output& output, int msgId, const std::string& path);

/** Takes a buffer apart for a person. A damaged one is shown as far as it is good. */
int show_buffer(const Output& output, const std::string& path);

/** Says whether the file is one well-formed buffer. */
int check_buffer(const Output& output, const std::string& path);

}  // namespace msg_tarvel::tool
