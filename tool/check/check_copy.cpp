#include "check/check_copy.h"

#include <fcntl.h>

#include "check/check.h"
#include "store/descriptor.h"
#include "store/media.h"
#include "store/reader_lock.h"
#include "store/store_copy.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

bool is_being_written(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return file.isOpen() && ReaderLock(file.number()).isWriterThere();
}

}  // namespace

void check_copy(const std::string& path, Findings& findings) {
  const bool wasBeingWritten = is_being_written(path);
  const std::vector<std::string> mediaFiles = names_in(media_directory());
  const bool isBeingWritten = wasBeingWritten || is_being_written(path);

  const StoreCopy copy(path);
  const Database database(copy.database());
  check_store({database, data_directory(), mediaFiles, isBeingWritten, copy.isRollbackPending(),
               copy.isWriteAhead()},
              findings);
}

}  // namespace msg_tarvel::tool
