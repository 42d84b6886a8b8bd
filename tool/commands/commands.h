#pragma once

#include <msg-tarvel-common/item/ListCondition.h>

#include <string>
#include <vector>

#include "print/items.h"

namespace msg_tarvel::tool {

// The commands. Each returns its exit status, FOUND or NOTHING_FOUND, and throws Failure,
// UsageError or Interrupted.

constexpr int FOUND = 0;
constexpr int NOTHING_FOUND = 1;
constexpr int USAGE_ERROR = 2;
constexpr int FAILED = 3;

int create_store(const Output& output);
int import_file(const Output& output, const std::string& path,
                const std::vector<std::string>& ownNumbers);
int list_threads(const Output& output);
int show_conversation(const Output& output, int convId);
int list_messages(const Output& output, const ListCondition& condition);
/** Finds the conversation with exactly these people, their numbers written in any way. */
int find_thread(const Output& output, const std::vector<std::string>& numbers);

/** A FolderType value by its number or its enumerator's name; throws UsageError. */
int folder_type_of(const std::string& text);

/** The names that folder_type_of knows. */
std::vector<std::string> folder_type_names();

}  // namespace msg_tarvel::tool
