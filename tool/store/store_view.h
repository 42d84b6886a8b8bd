#pragma once

#include <optional>
#include <string>

#include "helpers/transaction.h"
#include "store/store_copy.h"

namespace msg_tarvel::tool {

/**
 * The store for a command that only looks: the library reads a private copy, so that every query
 * sees the same moment and nobody waits for the printing. Indexes that are missing are made there.
 * The files' names are gone before the first result is printed.
 *
 * One in the life of a process, before anything asks the library where the store is. The paths that
 * messages and contents carry, and database_path(), stay those of the store.
 */
class StoreView {
 public:
  enum class Indexes { ALL, AS_THEY_ARE };

  /** Throws Failure when there is no store or it cannot be read. */
  explicit StoreView(Indexes indexes = Indexes::ALL);
  StoreView(const StoreView&) = delete;
  StoreView& operator=(const StoreView&) = delete;

  bool isRollbackPending() const { return _copy.isRollbackPending(); }

 private:
  StoreCopy _copy;
  std::optional<helpers::StoreSession> _session;
};

}  // namespace msg_tarvel::tool
