// Runs a fuzz target on the files that are named on the command line, and on every beginning of
// each; of a folder, on its files as they are.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
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

std::string content_of(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file || bytes.empty()) {
    std::fprintf(stderr, "%s cannot be read\n", path.c_str());
    std::exit(1);
  }
  return bytes;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): an input that makes a target throw has to end this
int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE|FOLDER...\n", argv[0]);
    return 2;
  }
  for (int i = 1; i < argc; ++i) {
    if (std::filesystem::is_directory(argv[i])) {
      for (const auto& file : std::filesystem::directory_iterator(argv[i])) run(content_of(file));
    } else {
      const std::string bytes = content_of(argv[i]);
      for (std::size_t length = 0; length <= bytes.size(); ++length) run(bytes.substr(0, length));
    }
  }
  return 0;
}
