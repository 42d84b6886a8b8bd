#pragma once

/**
 * \file
 * Everything that the library offers.
 */

/**
 * \namespace msg_tarvel
 * The items that queries fill, the folders, and the registry of commands between processes.
 */

#include "db/DBMgr.h"
#include "db/SqlStatement.h"
#include "db/db_common_funcs.h"
#include "db/db_error.h"
#include "db/db_indexes.h"
#include "export.h"
#include "ipc/MsgIPC.h"
#include "item/Address.h"
#include "item/Content.h"
#include "item/Conversation.h"
#include "item/FolderType.h"
#include "item/ListCondition.h"
#include "item/Message.h"
#include "item/NmsContentMeta.h"
#include "item/NmsMsgMeta.h"
#include "item/SimInfo.h"
#include "item/Thread.h"
#include "msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-serializer/msg_records.h"
#include "utility/common_util_funcs.h"
#include "version.h"
