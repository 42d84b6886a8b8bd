#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** A FolderType value by its number or its enumerator's name; throws UsageError. */
int folder_type_of(const std::string& text);

/** The names that folder_type_of knows. */
std::vector<std::string> folder_type_names();

}  // namespace msg_tarvel::tool
