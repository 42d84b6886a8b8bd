#pragma once

// How much of a reliability program runs, and what it tells of itself.

#include <cstdlib>
#include <iostream>
#include <string>

namespace msg_tarvel {

/**
 * Whether everything is tried, which takes minutes and which script/reliability asks for, or what
 * every test run has time for.
 */
inline bool is_whole_run() {
  const char* extent = std::getenv("MSG_TARVEL_RELIABILITY");
  return extent != nullptr && std::string(extent) == "whole";
}

/** Prints what a program tried and saw; script/reliability shows these lines alone. */
inline void print_figure(const std::string& text) { std::cout << "figure: " << text << "\n"; }

}  // namespace msg_tarvel
