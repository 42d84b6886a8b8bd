#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../export.h"
#include "FolderType.h"

namespace msg_tarvel {

/** What db_get_message_list selects; the caller fills it field by field. */
class MSG_TARVEL_EXPORT ListCondition {
 public:
  ListCondition();
  ListCondition(const ListCondition& other);
  ListCondition(ListCondition&& other) noexcept;
  ~ListCondition();
  ListCondition& operator=(const ListCondition& other);
  ListCondition& operator=(ListCondition&& other) noexcept;

  /** -1: all; 1: only read; anything else: only unread. Heeded in folder 1 and FOLDER_PAIR_1. */
  int32_t readFilter = -1;
  /** Order by displayTime: oldest first when true, newest first when false. */
  bool ascending = false;
  /** Rows at most; 0: no limit. */
  int32_t limit = 0;
  /** A FolderType value; other negative values are refused. */
  int32_t folderType = ALL_FOLDERS;
  /** Above 0: only messages of this storage. */
  int32_t storageId = 0;
  /** Non-empty: only messages of this type. Goes into the statement unescaped. */
  std::string msgType;
  /** Non-empty: only messages of these conversations. */
  std::vector<int32_t> convIds;
};

}  // namespace msg_tarvel
