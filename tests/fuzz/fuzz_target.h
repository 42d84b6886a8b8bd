#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/** What the fuzzer calls with every input; 0 when the input is to be kept. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/** Ends the process, which the fuzzer takes for a find, unless `condition` holds. */
#define FUZZ_ASSERT(condition)                                                           \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      std::fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (false)
