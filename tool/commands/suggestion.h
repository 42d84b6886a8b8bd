#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace msg_tarvel::tool {

/**
 * After a command line that could not be read: a sentence about a word that stands where a command
 * is expected and is none, with the command that may have been meant; empty when it was something
 * else.
 */
std::string suggestion_for(const CLI::App& program);

}  // namespace msg_tarvel::tool
