// Every line of the log names the file, function and line that it comes from. Held against the
// source itself, wherever it moves to.

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/ipc/MsgIPC.h"
#include "msg-tarvel-common/item/Content.h"
#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "support/fake_platform.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

/** The lines of the source file with this base name. */
std::vector<std::string> source_lines(const std::string& baseName) {
  std::vector<std::string> lines;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(SOURCE_DIR "/src")) {
    if (entry.path().filename() != baseName) continue;
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) lines.push_back(line);
  }
  return lines;
}

/** The line at or before `number` on which a function begins: the nearest that is not indented. */
std::string function_start(const std::vector<std::string>& lines, int number) {
  for (auto at = static_cast<std::size_t>(number); at > 0; --at) {
    const std::string& line = lines[at - 1];
    const bool begins = !line.empty() && std::isalpha(static_cast<unsigned char>(line[0])) != 0;
    if (begins && line.find('(') != std::string::npos) return line;
  }
  return "";
}

void expect_place(const LogLine& line) {
  SCOPED_TRACE(line.raw);
  const std::vector<std::string> lines = source_lines(line.file);
  ASSERT_GT(line.line, 0);
  ASSERT_LE(static_cast<std::size_t>(line.line), lines.size());
  EXPECT_NE(lines[static_cast<std::size_t>(line.line) - 1].find('('), std::string::npos)
      << "no call stands there";
  EXPECT_NE(function_start(lines, line.line).find(line.function + "("), std::string::npos)
      << "the line is one of " << function_start(lines, line.line);
}

class LogPlaces : public StoreTest {};

TEST_F(LogPlaces, AreThoseOfTheSource) {
  // Errors, warnings and information of each source file, of functions that log themselves and of
  // those for which a helper does.
  common_util::is_number("");
  common_util::is_wpc_mode();
  common_util::get_min_match_digit();
  common_util::convert_number("+x");
  const MsgIPC ipc;
  ipc.getCmdByMethodName("no command");
  ipc.getCmdString(MsgIPC::IPC_COMMAND_NONE);
  ipc.getCmdStructLenth(MsgIPC::IPC_COMMAND_NONE);
  Content().setRawData(nullptr, 1);
  char* out = nullptr;
  GSList noElement = {nullptr, nullptr};
  msg_message_item_t item{};
  item.addressList = &noElement;
  msg_serialize_message(&item, &out);
  const std::string zeros(128, '\0');
  item.addressList = nullptr;
  msg_deserialize_message(zeros.data(), &item);

  db::DBMgr* const manager = db::DBMgr::getInstance();
  manager->execStatement("SELEKT");
  manager->compileStatement("")->step();
  manager->createDb();
  int threadId = 0;
  Address nobody;
  nobody.address = "nobody";
  db::db_check_thread_address_exist({nobody}, &threadId);
  manager->execStatement("DROP TABLE msg_message_table; DROP TABLE msg_sim_table;");
  std::vector<Thread> threads;
  db::db_get_threads(threads);
  std::vector<SimInfo> simInfos;
  db::db_get_sim_infos(simInfos);
  Message message;
  db::db_get_message(-1, message);
  db::db_get_message(1, message);

  const std::vector<LogLine> lines = FakePlatform::get().lines();
  std::set<std::string> functions;
  for (const LogLine& line : lines) {
    expect_place(line);
    functions.insert(line.function);
  }
  EXPECT_EQ(functions, (std::set<std::string>{"is_number",
                                              "is_wpc_mode",
                                              "get_min_match_digit",
                                              "_countryCodeLength",
                                              "getCmdByMethodName",
                                              "getCmdString",
                                              "getCmdStructLenth",
                                              "setRawData",
                                              "msg_serialize_message",
                                              "msg_deserialize_message",
                                              "execStatement",
                                              "step",
                                              "_createDbTables",
                                              "db_check_thread_address_exist",
                                              "compileStatement",
                                              "_db_query_get_thread_list",
                                              "db_get_threads",
                                              "db_get_sim_infos",
                                              "db_get_message",
                                              "_db_query_get_message"}));
}

}  // namespace

}  // namespace msg_tarvel
