#pragma once

// Records with a different value in every slot.

#include <string>

#include "support/records.h"

namespace msg_tarvel::wire_test {

/** The opaque numbers `base`, `base` + 1, ...; the texts as given, the rest null. */
inline Values sample(Counts counts, std::int32_t base, std::vector<Text> texts = {}) {
  Values values;
  for (std::size_t i = 0; i < counts.opaque; ++i) {
    values.opaque.push_back(base + static_cast<std::int32_t>(i));
  }
  texts.resize(counts.texts);
  values.texts = std::move(texts);
  return values;
}

/** The same with the texts "<name>1", "<name>2x", "<name>3xx", ... */
inline Values full_sample(Counts counts, std::int32_t base, const std::string& name) {
  std::vector<Text> texts;
  for (std::size_t i = 0; i < counts.texts; ++i) {
    texts.emplace_back(name + std::to_string(i + 1) + std::string(i, 'x'));
  }
  return sample(counts, base, texts);
}

inline MessageValues full_message() {
  MessageValues values;
  values.own = full_sample(MESSAGE_COUNTS, 0x0a112200, "message ");
  values.addresses = {full_sample(ADDRESS_COUNTS, 0x0b112200, "address "),
                      sample(ADDRESS_COUNTS, 0x0b112280),
                      full_sample(ADDRESS_COUNTS, 0x0b1122f0, "another address ")};
  values.contents = {
      {full_sample(CONTENT_COUNTS, 0x0c112200, "content "),
       full_sample(CONTENT_META_COUNTS, 0x0d112200, "metadata of a content ")},
      {sample(CONTENT_COUNTS, 0x0c112280), std::nullopt},
  };
  values.meta = full_sample(MESSAGE_META_COUNTS, 0x0e112200, "metadata ");
  return values;
}

/** Zeros and nulls. */
inline MessageValues empty_message() {
  MessageValues values;
  values.own.opaque.resize(MESSAGE_COUNTS.opaque);
  values.own.texts.resize(MESSAGE_COUNTS.texts);
  return values;
}

}  // namespace msg_tarvel::wire_test
