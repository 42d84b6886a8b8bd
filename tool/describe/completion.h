#pragma once

#include <string>
#include <utility>
#include <vector>

#include "describe/description.h"

namespace msg_tarvel::tool {

// What a shell completes, whichever it is.

using Words = std::vector<std::string>;

/** What is offered where a value is expected. */
struct Offer {
  enum class What { NOTHING, FILES, DIRECTORIES, WORDS } what;
  Words words;
};

/** The offer for a value that the help calls `kind`. */
Offer offer_for(const std::string& kind);

/** A command and the words that lead to it, such as "buffer show". */
using Path = std::pair<std::string, const CLI::App*>;

/** `program` itself, whose path is empty, and every command below it. */
std::vector<Path> paths_of(const CLI::App& program);

/** The options that may stand before and behind every command. */
std::vector<const CLI::Option*> options_everywhere(const CLI::App& program);

/** The options of `app` that do not stand everywhere. */
std::vector<const CLI::Option*> own_options(const CLI::App& app);

/** The options that take a value, of all commands; what several have stands here once. */
std::vector<const CLI::Option*> value_options(const CLI::App& program);

std::string joined(const Words& words, const char* separator);

/** `text` between single quotes, with what replaces the characters that cannot stand there. */
std::string quoted(const std::string& text,
                   const std::vector<std::pair<char, std::string>>& replacements);

}  // namespace msg_tarvel::tool
