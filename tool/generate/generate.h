#pragma once

#include <cstdint>
#include <string>

namespace msg_tarvel::tool {

struct GenerateOptions {
  std::uint64_t seed = 1;
  int messages = 1000;
  /** 0: as many as go with the messages. */
  int conversations = 0;
  /** Otherwise a store that lacks indexes of the library gets them. */
  bool withoutIndexes = false;
};

constexpr int MOST_GENERATED_MESSAGES = 10000000;
constexpr int MOST_GENERATED_CONVERSATIONS = 20000;

struct GeneratedStore {
  int messages = 0;
  int conversations = 0;
  /** Pictures, sounds and thumbnails. */
  int files = 0;
};

/**
 * Fills a store without messages with those of a person's, or with nothing at all when anything
 * throws (Failure, UsageError, Interrupted). Rows and files follow from the options alone, but for
 * the directory that paths begin with. The first conversation is the biggest.
 */
GeneratedStore generate_store(const GenerateOptions& options);

}  // namespace msg_tarvel::tool
