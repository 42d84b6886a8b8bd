#pragma once

// The workers of the queries, with the names that their log lines carry. The library does not
// export them; the unit tests reach them here.

#include <string>
#include <vector>

#include "msg-tarvel-common/db/SqlStatement.h"
#include "msg-tarvel-common/db/db_common_funcs.h"

namespace msg_tarvel::db {

// _db_step_get_...: copy the current row of a stepped statement into an item; 0 or a result code.
int _db_step_get_message(SqlStatement& statement, Message& message);
int _db_step_get_thread(SqlStatement& statement, Thread& thread);
int _db_step_get_conversation(SqlStatement& statement, Conversation& conversation);
int _db_step_get_nms_meta(SqlStatement& statement, NmsMsgMeta& meta);

// _db_query_get_...: run a SELECT with a ready condition (or id) and read what it gives.
int _db_query_get_message(const std::string& where, Message& message);
int _db_query_get_message_list(const std::string& where, std::vector<Message>& messages);
int _db_query_get_thread(int convId, Thread& thread);
int _db_query_get_thread_list(std::vector<Thread>& threads);
int _db_query_get_conversation(int msgId, Conversation& conversation);
int _db_query_get_conversation_list(int convId, std::vector<Conversation>& conversations);
int _db_query_get_content_list(const std::string& where, std::vector<Content>& contents);
int _db_query_get_nms_meta(const std::string& where, NmsMsgMeta& meta);
int _db_query_get_nms_meta_list(const std::string& where, std::vector<NmsMsgMeta>& metas);

}  // namespace msg_tarvel::db
