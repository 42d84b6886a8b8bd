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
  /** Throws std::bad_alloc. */
  ListCondition(const ListCondition& other);
  /** Leaves texts and ids of `other` unspecified. */
  ListCondition(ListCondition&& other) noexcept;
  ~ListCondition();
  /** Throws std::bad_alloc. */
  ListCondition& operator=(const ListCondition& other);
  /** Leaves texts and ids of `other` unspecified. */
  ListCondition& operator=(ListCondition&& other) noexcept;

  /**
   * -1: all; 1: only read; anything else: only unread. Heeded only where `folderType` is
   * MAIN_FOLDER_1, the inbox, or FOLDER_PAIR_1; everywhere else all messages are given.
   */
  int32_t readFilter = -1;
  /** Order by displayTime: oldest first when true, newest first when false. */
  bool ascending = false;
  /** Messages at most; 0 and below: no limit. */
  int32_t limit = 0;
  /** One folder, ALL_FOLDERS or a FOLDER_PAIR; other negative values are refused. */
  int32_t folderType = ALL_FOLDERS;
  /** Above 0: only messages of this storage. */
  int32_t storageId = 0;
  /** Non-empty: only messages of this type. Goes into the statement unescaped. */
  std::string msgType;
  /** Non-empty: only messages of these conversations. Name each once: see db_get_message_list. */
  std::vector<int32_t> convIds;
};

}  // namespace msg_tarvel
