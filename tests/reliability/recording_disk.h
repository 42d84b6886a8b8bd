#pragma once

// A record of what a process does to the files below a folder. Linked into a test program, or
// preloaded into another one as a shared object, the functions of recording_disk.cpp stand in front
// of the system's: they pass on all but syncs, which no disk needs whose power is cut on paper
// only.

#include <string>

namespace msg_tarvel {

class RecordingDisk {
 public:
  // Of the environment of a program that the shared object is preloaded into.
  static constexpr const char* FOLDER_VARIABLE = "RECORDED_FOLDER";
  static constexpr const char* RECORD_VARIABLE = "RECORD_OF_FOLDER";

  /** From here on, what this process does below `folder` is told in the file `record`. */
  static void start(const std::string& folder, const std::string& record);

  /** Tells in the record that something has been promised to a caller. */
  static void promise();
};

}  // namespace msg_tarvel
