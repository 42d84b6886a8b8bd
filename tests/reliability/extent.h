#pragma once

// How much of a reliability program runs, and what it tells of itself.

#include <cstdlib>
#include <ctime>
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

/** What is drawn today is other than yesterday; MSG_TARVEL_SEED draws that of another day. */
inline unsigned int seed_of_today() {
  const char* const chosen = std::getenv("MSG_TARVEL_SEED");
  return chosen ? static_cast<unsigned int>(std::atoi(chosen))
                : static_cast<unsigned int>(std::time(nullptr) / 86400);
}

/** Instrumented, everything takes several times as long: of what every run tries, one in so many.
 */
#ifdef TEST_OF_INSTRUMENTED
constexpr int SHARE = 3;
#else
constexpr int SHARE = 1;
#endif

/** Prints what a program tried and saw; script/reliability shows these lines alone. */
inline void print_figure(const std::string& text) { std::cout << "figure: " << text << "\n"; }

}  // namespace msg_tarvel
