#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace msg_tarvel {

/** A file kept open, so that no other file gets its inode and passes for it. */
class HeldFile {
 public:
  explicit HeldFile(const std::string& path) : _descriptor(open(path.c_str(), O_RDONLY)) {
    EXPECT_NE(_descriptor, -1) << path;
  }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;
  ~HeldFile() { close(_descriptor); }

  /** Whether this very file is the one at `path`. */
  bool isAt(const std::string& path) const {
    struct stat held = {};
    struct stat found = {};
    return fstat(_descriptor, &held) == 0 && stat(path.c_str(), &found) == 0 &&
           held.st_dev == found.st_dev && held.st_ino == found.st_ino;
  }

 private:
  int _descriptor;
};

}  // namespace msg_tarvel
