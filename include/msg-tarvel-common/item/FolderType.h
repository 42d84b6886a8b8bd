#pragma once

namespace msg_tarvel {

/**
 * The storage folder of a message or conversation. Values from 0 up stand as they are in the
 * storageFolder columns; negative values select groups of folders in queries. -1 is no folder.
 */
enum FolderType : int {
  /** Below every real folder; in the by-time query: no folder condition. */
  NO_FOLDER = 0,
  /** The inbox: alone and in FOLDER_PAIR_1 the one folder that a read filter applies to. */
  MAIN_FOLDER_1 = 1,
  /** The tool puts messages here that are to be sent or have failed. */
  MAIN_FOLDER_2 = 2,
  /** The tool puts sent messages here. */
  MAIN_FOLDER_3 = 3,
  /** The tool puts drafts here. */
  MAIN_FOLDER_4 = 4,
  /** Left out of ALL_FOLDERS and of the view of a conversation. */
  MAIN_FOLDER_5 = 5,
  /** The counterpart of folder 1 for the watch's standalone mode; so on up to 105. */
  STANDALONE_FOLDER_1 = 101,
  /** The counterpart of folder 2. */
  STANDALONE_FOLDER_2 = 102,
  /** The counterpart of folder 3. */
  STANDALONE_FOLDER_3 = 103,
  /** The counterpart of folder 4. */
  STANDALONE_FOLDER_4 = 104,
  /** The counterpart of folder 5, left out as that is. */
  STANDALONE_FOLDER_5 = 105,
  /** Every folder above 0 and below 9999 except 5 and 105. */
  ALL_FOLDERS = 9999,

  /** Folders 1 and 101 together (message lists); the read filter applies to both. */
  FOLDER_PAIR_1 = -2,
  /** Folders 2 and 102. */
  FOLDER_PAIR_2 = -3,
  /** Folders 3 and 103. */
  FOLDER_PAIR_3 = -4,
  /** Folders 4 and 104. */
  FOLDER_PAIR_4 = -5,
  /** Folders 5 and 105. */
  FOLDER_PAIR_5 = -6,
  /** Folders 1 to 5 (by-time query). */
  ALL_MAIN_FOLDERS = -7,
  /** Folders 101 to 105 (by-time query). */
  ALL_STANDALONE_FOLDERS = -8,
};

}  // namespace msg_tarvel
