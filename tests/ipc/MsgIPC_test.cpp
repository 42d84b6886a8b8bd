#include "msg-tarvel-common/ipc/MsgIPC.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "support/expected_log.h"

namespace msg_tarvel {

namespace {

/** A row of the registry, and its type string wrapped as a whole signature. */
struct Row {
  int number;
  MsgIPC::IpcCommand command;
  const char* name;
  const char* type;
  unsigned int parameters;
  const char* wrapped;
};

const Row ROWS[] = {
    {0, MsgIPC::READ_MESSAGE, "read_message", "(ii)", 2, "((ii))"},
    {1, MsgIPC::READ_THREAD, "read_thread", "(i)", 1, "((i))"},
    {2, MsgIPC::DELETE_MESSAGE, "delete_message", "(ii)", 2, "((ii))"},
    {3, MsgIPC::DELETE_THREAD, "delete_thread", "(i)", 1, "((i))"},
    {4, MsgIPC::DELETE_THREADS, "delete_threads", "(v)", 1, "((v))"},
    {5, MsgIPC::SET_ACTIVE_THREAD_ID, "set_active_thread_id", "(i)", 1, "((i))"},
    {6, MsgIPC::SEND_CHANGE_SMS_APPLICATION_REQUEST, "send_change_sms_application_request", "(b)",
     1, "((b))"},
    {7, MsgIPC::ADD_MESSAGE, "add_message", "(sisssi)", 6, "((sisssi))"},
    {8, MsgIPC::SEND_MESSAGE, "send_message", "(sisssi)", 6, "((sisssi))"},
    {9, MsgIPC::RESEND_MESSAGE, "resend_message", "(i)", 1, "((i))"},
    {10, MsgIPC::SHOW_ON_DEVICE, "show_on_device", "(i)", 1, "((i))"},
    {11, MsgIPC::GET_CONTENT_FILE, "get_content_file", "(is)", 2, "((is))"},
    {12, MsgIPC::SEND_CONTENT_FILE, "send_content_file", "(is)", 2, "((is))"},
    {13, MsgIPC::RESTORE_BLOCK_MESSAGE, "restore_block_message", "(i)", 1, "((i))"},
    {14, MsgIPC::UPDATE_GROUP_CHAT_ADDRESS, "update_group_chat_address", "(i)", 1, "((i))"},
    {15, MsgIPC::EXPORT_TO_PHONE, "export_to_phone", "(i)", 1, "((i))"},
    {16, MsgIPC::UPDATE_RETRIEVE_MMS_MESSAGE, "update_retrieve_mms_message", "(i)", 1, "((i))"},
    {17, MsgIPC::NMS_ADD_MESSAGE, "nms_add_message", "(vi)", 2, "((vi))"},
    {18, MsgIPC::NMS_DELETE_MESSAGE_BY_TIME, "nms_delete_message_by_time", "(i)", 1, "((i))"},
    {19, MsgIPC::NMS_SEND_MESSAGE, "nms_send_message", "(sisss)", 5, "((sisss))"},
    {20, MsgIPC::NMS_RESEND_MESSAGE, "nms_resend_message", "(i)", 1, "((i))"},
    {21, MsgIPC::NMS_ADD_MSG_META, "nms_add_msg_meta", "(vi)", 2, "((vi))"},
    {22, MsgIPC::NMS_UPDATE_MSG_META, "nms_update_msg_meta", "(isvi)", 4, "((isvi))"},
    {23, MsgIPC::NMS_DELETE_MSG_META, "nms_delete_msg_meta", "(is)", 2, "((is))"},
    {24, MsgIPC::NMS_DELETE_INVALID_MSG_META, "nms_delete_invalid_msg_meta", "()", 0, "(())"},
    {25, MsgIPC::NMS_HANDLE_RESETBOX, "nms_handle_resetbox", "()", 0, "(())"},
    {26, MsgIPC::NMS_DOWNLOAD_MMS, "nms_download_mms", "(i)", 1, "((i))"},
    {27, MsgIPC::NMS_UPDATE_MESSAGE_NETWORK_STATUS, "nms_update_message_network_status", "(ii)", 2,
     "((ii))"},
    {28, MsgIPC::NMS_UPDATE_SUBSCRIPTION_INFO, "nms_update_subscription_info", "(ts)", 2, "((ts))"},
};

MsgIPC::IpcCommand command(int number) { return static_cast<MsgIPC::IpcCommand>(number); }

ExpectedLine not_found(const std::string& name) {
  return error_line("MsgIPC.cpp", "getCmdByMethodName",
                    "[ERROR] IPC Command named with [" + name + "] is not found");
}

ExpectedLine out_of_bound(const std::string& function, int number) {
  return error_line("MsgIPC.cpp", function,
                    "[ERROR] input command is out of bound [" + std::to_string(number) + "]");
}

void expect_unknown_name(const std::string& name) {
  EXPECT_EQ(MsgIPC().getCmdByMethodName(name), 999) << name;
  EXPECT_TRUE(logged({not_found(name)}));
}

void expect_nothing_for(const MsgIPC& ipc, int number) {
  EXPECT_EQ(ipc.getCmdString(command(number)), "") << number;
  EXPECT_EQ(ipc.getCmdStruct(command(number)), "") << number;
  EXPECT_EQ(ipc.getCmdStructLenth(command(number)), 0U) << number;
}

void expect_table(const MsgIPC& ipc) {
  for (const Row& row : ROWS) {
    EXPECT_EQ(row.command, row.number);
    EXPECT_EQ(ipc.getCmdByMethodName(row.name), row.command);
    EXPECT_EQ(ipc.getCmdString(row.command), row.name);
    EXPECT_EQ(ipc.getCmdStruct(row.command), row.wrapped);
    EXPECT_EQ(ipc.getCmdStructLenth(row.command), row.parameters);
  }
  EXPECT_TRUE(logged({}));
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return g_ascii_toupper(c); });
  return text;
}

}  // namespace

TEST(MsgIPC, TheWholeTable) {
  EXPECT_EQ(std::size(ROWS), 29U);
  expect_table(MsgIPC());
}

TEST(MsgIPC, TypesAreTuplesForGLibWithAsManyItemsAsParameters) {
  const MsgIPC ipc;
  for (const Row& row : ROWS) {
    const std::string wrapped = ipc.getCmdStruct(row.command);
    ASSERT_TRUE(g_variant_type_string_is_valid(wrapped.c_str())) << wrapped;
    const GVariantType* const outer = G_VARIANT_TYPE(wrapped.c_str());
    ASSERT_TRUE(g_variant_type_is_tuple(outer)) << wrapped;
    EXPECT_EQ(g_variant_type_n_items(outer), 1U) << wrapped;

    const GVariantType* const inner = g_variant_type_first(outer);
    ASSERT_TRUE(g_variant_type_is_tuple(inner)) << wrapped;
    EXPECT_EQ(g_variant_type_n_items(inner), ipc.getCmdStructLenth(row.command)) << wrapped;
    EXPECT_EQ(g_variant_type_n_items(inner), row.parameters) << wrapped;
    EXPECT_EQ(
        std::string(g_variant_type_peek_string(inner), g_variant_type_get_string_length(inner)),
        row.type);
  }
}

TEST(MsgIPC, NamesThatEndAlikeAreDifferentCommands) {
  const MsgIPC ipc;
  EXPECT_EQ(ipc.getCmdByMethodName("add_message"), 7);
  EXPECT_EQ(ipc.getCmdByMethodName("nms_add_message"), 17);
  EXPECT_EQ(ipc.getCmdByMethodName("send_message"), 8);
  EXPECT_EQ(ipc.getCmdByMethodName("nms_send_message"), 19);
  EXPECT_EQ(ipc.getCmdByMethodName("resend_message"), 9);
  EXPECT_EQ(ipc.getCmdByMethodName("nms_resend_message"), 20);
  EXPECT_TRUE(logged({}));
}

TEST(MsgIPC, NamesMatchOnlyInFull) {
  for (const Row& row : ROWS) {
    const std::string name = row.name;
    expect_unknown_name(name.substr(0, name.size() - 2));
    expect_unknown_name(name.substr(1));
    expect_unknown_name(name + "_");
    expect_unknown_name("x" + name);
    expect_unknown_name(" " + name);
    expect_unknown_name(upper(name));
    expect_unknown_name(upper(name.substr(0, 1)) + name.substr(1));
    expect_unknown_name(name.substr(0, name.size() - 1) + upper(name.substr(name.size() - 1)));
  }
  for (const char* const name : {"", "message", "nms_", "_message", "none", "IPC_COMMAND_NONE"}) {
    expect_unknown_name(name);
  }
}

TEST(MsgIPC, AZeroByteBelongsToTheName) {
  EXPECT_EQ(MsgIPC().getCmdByMethodName(std::string("read_message\0", 13)), 999);
  EXPECT_TRUE(logged({not_found("read_message")}));
}

TEST(MsgIPC, NumbersAboveTheBoundAreReportedByEachLookUp) {
  for (const int number : {999, 1000, 65535, INT_MAX}) {
    expect_nothing_for(MsgIPC(), number);
    EXPECT_TRUE(logged({out_of_bound("getCmdString", number), out_of_bound("getCmdStruct", number),
                        out_of_bound("getCmdStructLenth", number)}));
  }
  EXPECT_EQ(MsgIPC::IPC_COMMAND_NONE, 999);
}

TEST(MsgIPC, NumbersBetweenTheTableAndTheBoundAreNoCommandsInSilence) {
  for (int number = 29; number <= 998; ++number) expect_nothing_for(MsgIPC(), number);
  EXPECT_TRUE(logged({}));
}

TEST(MsgIPC, NegativeNumbersAreNoCommandsInSilence) {
  for (const int number : {-1, -2, -999, INT_MIN}) expect_nothing_for(MsgIPC(), number);
  EXPECT_TRUE(logged({}));
}

TEST(MsgIPC, EachObjectHoldsItsOwnTable) {
  auto first = std::make_unique<MsgIPC>();
  const MsgIPC copy(*first);
  MsgIPC assigned;
  assigned = *first;
  const MsgIPC second;
  first.reset();
  expect_table(copy);
  expect_table(assigned);
  expect_table(second);
}

TEST(MsgIPC, EveryLookUpAnswersFromTheObjectsOwnMap) {
  MsgIPC ipc;
  ipc.cmdMap[MsgIPC::READ_THREAD] = {"another_name", "(isb)"};
  EXPECT_EQ(ipc.getCmdByMethodName("another_name"), MsgIPC::READ_THREAD);
  EXPECT_EQ(ipc.getCmdString(MsgIPC::READ_THREAD), "another_name");
  EXPECT_EQ(ipc.getCmdStruct(MsgIPC::READ_THREAD), "((isb))");
  EXPECT_EQ(ipc.getCmdStructLenth(MsgIPC::READ_THREAD), 3U);
  EXPECT_TRUE(logged({}));

  EXPECT_EQ(ipc.getCmdByMethodName("read_thread"), 999);
  EXPECT_TRUE(logged({not_found("read_thread")}));
  ipc.cmdMap.erase(MsgIPC::READ_THREAD);
  expect_nothing_for(ipc, MsgIPC::READ_THREAD);
  EXPECT_TRUE(logged({}));
}

TEST(MsgIPC, OfEqualNamesTheSmallestNumberIsFound) {
  MsgIPC ipc;
  for (const int number : {28, 3, 17}) {
    ipc.cmdMap[command(number)].first = "shared_name";
    EXPECT_EQ(ipc.getCmdByMethodName("shared_name"), number == 28 ? 28 : 3);
  }
  ipc.cmdMap[command(-1)] = {"shared_name", "()"};
  EXPECT_EQ(ipc.getCmdByMethodName("shared_name"), -1);
}

TEST(MsgIPC, TheMapHoldsEveryRowInOrderAndNothingElse) {
  const MsgIPC ipc;
  ASSERT_EQ(ipc.cmdMap.size(), std::size(ROWS));
  const Row* row = ROWS;
  for (const auto& [number, texts] : ipc.cmdMap) {
    EXPECT_EQ(number, row->command);
    EXPECT_EQ(texts.first, row->name);
    EXPECT_EQ(texts.second, row->type);
    ++row;
  }
}

TEST(MsgIPC, OneObjectServesManyThreads) {
  const MsgIPC ipc;
  std::vector<int> found(4);
  std::vector<std::thread> threads;
  threads.reserve(found.size());
  for (int& count : found) {
    threads.emplace_back([&ipc, &count] {
      for (const Row& row : ROWS) {
        count += ipc.getCmdByMethodName(row.name) == row.command &&
                 ipc.getCmdStruct(row.command) == row.wrapped;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<int>(4, 29));
}

}  // namespace msg_tarvel
