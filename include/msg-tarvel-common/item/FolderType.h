#pragma once

namespace msg_tarvel {

/**
 * The storage folder of a message or conversation. Values from 0 up stand as they are in the
 * storageFolder columns; negative values select groups of folders in queries. -1 is no folder.
 */
enum FolderType : int {
  /** Below every real folder; in the by-time query: no folder condition. */
  NO_FOLDER = 0,
  /** The folder that the read filter of a message list applies to. */
  MAIN_FOLDER_1 = 1,
  MAIN_FOLDER_2 = 2,
  MAIN_FOLDER_3 = 3,
  MAIN_FOLDER_4 = 4,
  /** Left out of ALL_FOLDERS. */
  MAIN_FOLDER_5 = 5,
  /** Folders 101 to 105 are the counterparts of 1 to 5 for the watch's standalone mode. */
  STANDALONE_FOLDER_1 = 101,
  STANDALONE_FOLDER_2 = 102,
  STANDALONE_FOLDER_3 = 103,
  STANDALONE_FOLDER_4 = 104,
  /** Left out of ALL_FOLDERS. */
  STANDALONE_FOLDER_5 = 105,
  /** Every folder above 0 and below 9999 except 5 and 105. */
  ALL_FOLDERS = 9999,

  /** Folders n and 100 + n together (message lists). */
  FOLDER_PAIR_1 = -2,
  FOLDER_PAIR_2 = -3,
  FOLDER_PAIR_3 = -4,
  FOLDER_PAIR_4 = -5,
  FOLDER_PAIR_5 = -6,
  /** Folders 1 to 5 (by-time query). */
  ALL_MAIN_FOLDERS = -7,
  /** Folders 101 to 105 (by-time query). */
  ALL_STANDALONE_FOLDERS = -8,
};

}  // namespace msg_tarvel
