#pragma once

// Whole files in one go.

#include <fstream>
#include <iterator>
#include <string>

namespace msg_tarvel {

/** The bytes of a file; empty when there is none. */
inline std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace msg_tarvel
