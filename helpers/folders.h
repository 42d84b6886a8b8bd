#pragma once

#include <msg-tarvel-common/item/FolderType.h>

namespace msg_tarvel::helpers {

/** Whether a message can lie in `folder`. */
inline bool is_real_folder(int folder) {
  return (folder >= MAIN_FOLDER_1 && folder <= MAIN_FOLDER_5) ||
         (folder >= STANDALONE_FOLDER_1 && folder <= STANDALONE_FOLDER_5);
}

/** Whether the view of a conversation shows the messages of `folder`, as db_get_conversations does.
 */
inline bool is_shown_folder(int folder) {
  return folder > NO_FOLDER && folder < ALL_FOLDERS && folder != MAIN_FOLDER_5 &&
         folder != STANDALONE_FOLDER_5;
}

/** Whether messages arrive in `folder`: unread ones count there only. */
inline bool is_inbox(int folder) {
  return folder == MAIN_FOLDER_1 || folder == STANDALONE_FOLDER_1;
}

}  // namespace msg_tarvel::helpers
