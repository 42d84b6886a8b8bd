// Runs a fuzz target on the files that are named on the command line, and on every beginning of
// each.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "fuzz_target.h"

namespace {

/** From a block of exactly its size, so that a sanitizer sees a step beyond it. */
void run(const std::string& input) {
  const auto size = input.size();
  const std::unique_ptr<std::uint8_t[]> data(new std::uint8_t[size]);
  for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<std::uint8_t>(input[i]);
  LLVMFuzzerTestOneInput(data.get(), size);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): an input that makes a target throw has to end this
int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE...\n", argv[0]);
    return 2;
  }
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file || bytes.empty()) {
      std::fprintf(stderr, "%s: %s cannot be read\n", argv[0], argv[i]);
      return 1;
    }
    for (std::size_t length = 0; length <= bytes.size(); ++length) run(bytes.substr(0, length));
  }
  return 0;
}
