// Takes the input as the words of a filter's times, and as a phone number in every comparison.

#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <stdexcept>
#include <string>

#include "exit_status.h"
#include "filter/time_words.h"
#include "fuzz_target.h"
#include "helpers/same_address.h"

namespace {

using namespace msg_tarvel;  // NOLINT(google-build-using-namespace): whose functions they are

constexpr long long NOW = 1'790'000'000;

void read_time(const std::string& words) {
  try {
    const tool::TimeSpan span = tool::time_span_of(words, NOW);
    FUZZ_ASSERT(span.begin <= span.end);
  } catch (const tool::UsageError&) {
    // Most inputs are no time.
  }
}

void compare(const std::string& text) {
  const std::string address = helpers::normalised_address(text);
  FUZZ_ASSERT(helpers::normalised_address(address) == address);
  FUZZ_ASSERT(helpers::is_same_address(address, address));
  FUZZ_ASSERT(helpers::people_among({address, text, address}).size() <= 1);
  try {
    const std::string matched = common_util::convert_number(text);
    FUZZ_ASSERT(matched.size() <= text.size());
  } catch (const std::out_of_range&) {
    // A number that ends within its calling code.
  }
  const std::size_t middle = text.size() / 2;
  const std::string other = helpers::normalised_address(text.substr(middle));
  FUZZ_ASSERT(helpers::is_same_address(address, other) == helpers::is_same_address(other, address));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  read_time(text);
  compare(text);
  return 0;
}
