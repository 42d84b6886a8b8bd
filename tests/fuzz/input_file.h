#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz_target.h"

/** An input as a file in memory, for what reads files. */
class InputFile {
 public:
  InputFile(const std::uint8_t* data, std::size_t size) : _file(memfd_create("input", 0)) {
    FUZZ_ASSERT(_file >= 0 && write(_file, data, size) == static_cast<ssize_t>(size));
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile() { close(_file); }

  std::string path() const { return "/proc/self/fd/" + std::to_string(_file); }

 private:
  int _file;
};
