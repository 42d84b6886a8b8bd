#pragma once

#include <CLI/CLI.hpp>
#include <iosfwd>
#include <string>
#include <vector>

namespace msg_tarvel::tool {

// What is written about the program, from its own command line.

/** msg-tarvel(1). */
void print_man_page(std::ostream& out, const CLI::App& program);

// What each shell completes after msg-tarvel.
void print_bash_completion(std::ostream& out, const CLI::App& program);
void print_fish_completion(std::ostream& out, const CLI::App& program);
void print_zsh_completion(std::ostream& out, const CLI::App& program);

std::vector<const CLI::App*> commands_of(const CLI::App& app);
/** The options of `app`, without the two that ask for help, which every command has. */
std::vector<const CLI::Option*> options_of(const CLI::App& app);
std::vector<const CLI::Option*> arguments_of(const CLI::App& app);
/** "-o" and "--output". */
std::vector<std::string> spellings_of(const CLI::Option& option);
bool takes_value(const CLI::Option& option);

}  // namespace msg_tarvel::tool
