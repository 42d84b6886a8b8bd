// Every allocation fails once, and from some moment on for good, under what the library and the
// hand-over do without a store: buffers, the registry of commands, paths and utilities. They answer
// as without the failure, say that they cannot, or throw std::bad_alloc, and keep nothing.

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "helpers/record_mapping.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/ipc/MsgIPC.h"
#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "msg-tarvel-serializer/guarded_memory.h"
#include "msg-tarvel-serializer/senders_text.h"
#include "reliability/extent.h"
#include "reliability/failing_memory.h"
#include "support/fake_platform.h"
#include "support/message_text.h"
#include "support/processes.h"
#include "support/scarce_memory.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

/** A message with lists of several elements, the contents with metadata. */
Message message_of_many() {
  Message message = full_message();
  message.addresses.push_back(message.addresses.front());
  message.contents.insert(message.contents.end(), 3, message.contents.front());
  return message;
}

class ValueAllocationFaults : public DataDirTest {
 protected:
  /** Runs `run` with each allocation failing until it needs no more of them. */
  void failEvery(const std::string& what, const std::function<void()>& run) {
    for (const bool isForGood : {false, true}) {
      bool hasFailed = true;
      for (int number = 1; hasFailed; ++number, ++_tried) {
        const FailingMemory::Failure failure = {FailingMemory::Of::PROGRAM, number, isForGood};
        SCOPED_TRACE(::testing::Message() << what << ": " << failure);
        hasFailed = isFailing(failure, run);
        // What is made once and for all is there by now.
        const long blocks = live_blocks();
        isFailing(failure, run);
        EXPECT_EQ(live_blocks(), blocks) << "memory is kept";
        if (HasFailure()) return;
      }
    }
  }

  /** The same for a text that is as without the failure, or not given. */
  void failEveryText(const std::string& what, const std::function<std::string()>& text) {
    const std::string whole = text();
    failEvery(what, [&] {
      if (text() != whole) ADD_FAILURE() << "another text";
    });
  }

  void printTried(const std::string& what) const {
    print_figure(what + ": " + std::to_string(_tried) + " runs, " + std::to_string(_thrown) +
                 " times std::bad_alloc");
  }
  int thrown() const { return _thrown; }

 private:
  bool isFailing(FailingMemory::Failure failure, const std::function<void()>& run) {
    FailingMemory::fail(failure);
    try {
      run();
    } catch (const std::bad_alloc&) {
      ++_thrown;
    }
    const bool hasFailed = FailingMemory::mend();
    FakePlatform::get().clearLines();
    return hasFailed;
  }

  int _tried = 0;
  int _thrown = 0;
};

TEST_F(ValueAllocationFaults, OfBuffersAreTold) {
  const Message message = message_of_many();
  const std::string whole = helpers::to_buffer(message);
  const helpers::MessageRecord record = helpers::to_record(message);
  const auto expectAllOrNothing = [](int size, char* buffer, const std::string& expected) {
    if (size == 0) {
      EXPECT_EQ(buffer, nullptr);
    } else {
      EXPECT_EQ(static_cast<std::size_t>(size), expected.size());
    }
    std::free(buffer);
  };
  failEvery("msg_serialize_message", [&] {
    char* buffer = nullptr;
    const int written = msg_serialize_message(record.get(), &buffer);
    expectAllOrNothing(written, buffer, whole);
  });
  char* meta = nullptr;
  const int size = msg_serialize_nms_msg_meta(record->nmsMsgMetaData, &meta);
  const std::string wholeMeta(meta, static_cast<std::size_t>(size));
  std::free(meta);
  failEvery("msg_serialize_nms_msg_meta", [&] {
    char* buffer = nullptr;
    const int written = msg_serialize_nms_msg_meta(record->nmsMsgMetaData, &buffer);
    expectAllOrNothing(written, buffer, wholeMeta);
  });
  failEvery("msg_check_message",
            [&] { EXPECT_EQ(msg_check_message(whole.data(), whole.size()), whole.size()); });
  EXPECT_EQ(thrown(), 0) << "in C nobody catches";
  printTried("buffers, written and checked");
}

// Behind the buffers nothing may be read.
TEST_F(ValueAllocationFaults, OfACheckedBufferReadNothingBeyondIt) {
  const std::string whole = helpers::to_buffer(message_of_many());
  wire_test::GuardedMemory memory(whole.size());
  const char* const buffer = memory.hold(whole);
  ASSERT_EQ(msg_check_message(buffer, whole.size()), whole.size());
  failEvery("msg_deserialize_message", [&] {
    msg_message_item_t item;
    msg_deserialize_message(buffer, &item);
    msg_release_message(&item);
  });
  const helpers::MessageRecord record = helpers::to_record(full_message());
  char* meta = nullptr;
  const int size = msg_serialize_nms_msg_meta(record->nmsMsgMetaData, &meta);
  wire_test::GuardedMemory metaMemory(static_cast<std::size_t>(size));
  const char* const metaBuffer = metaMemory.hold({meta, static_cast<std::size_t>(size)});
  std::free(meta);
  failEvery("msg_deserialize_nms_msg_meta", [&] {
    msg_nms_msg_meta_data_t item;
    msg_deserialize_nms_msg_meta(metaBuffer, &item);
    msg_release_nms_msg_meta(&item);
  });
  EXPECT_EQ(thrown(), 0) << "in C nobody catches";
  printTried("checked buffers, read");
}

// A record tells by its place whether a text is the sender's pointer; without memory for such a
// place the pointer goes.
TEST_F(ValueAllocationFaults, OfABufferLeaveNoPointerOfTheSendersUnmarked) {
  Message message;
  message.contents.emplace_back().nmsContentMeta.metaText1 = "one";
  const helpers::MessageRecord record = helpers::to_record(message);
  const auto metaOf = [](const msg_message_item_t& item) {
    const auto* const content =
        static_cast<const msg_content_item_t*>(item.contentList ? item.contentList->data : nullptr);
    return content ? content->nmsContentMetaData : nullptr;
  };
  char nothing[] = "";
  msg_nms_content_meta_data_t* const sent = metaOf(*record);
  char* const text = std::exchange(sent->text2, nothing);
  char* buffer = nullptr;
  const int size = msg_serialize_message(record.get(), &buffer);
  sent->text2 = text;
  ASSERT_GT(size, 0);
  int kept = 0;
  int gone = 0;
  failEvery("msg_deserialize_message with a sender's pointer", [&] {
    msg_message_item_t item;
    msg_deserialize_message(buffer, &item);
    if (const msg_nms_content_meta_data_t* const meta = metaOf(item)) {
      EXPECT_EQ(wire::has_senders_text(meta), meta->text2 != nullptr);
      ++(meta->text2 ? kept : gone);
    }
    msg_release_message(&item);
  });
  std::free(buffer);
  EXPECT_GT(kept, 0);
  EXPECT_GT(gone, 0);
}

TEST_F(ValueAllocationFaults, OfAHandOverAreThrown) {
  const Message message = message_of_many();
  const std::string buffer = helpers::to_buffer(message);
  failEvery("to_buffer", [&] { EXPECT_EQ(helpers::to_buffer(message).size(), buffer.size()); });
  const std::string whole = text_of(message);
  failEvery("read_record", [&] {
    const helpers::MessageRecord record = helpers::read_record(buffer.data(), buffer.size());
    const Message arrived = record ? helpers::to_message(*record) : Message();
    FailingMemory::mend();
    if (text_of(arrived) != whole) ADD_FAILURE() << "a part of the message";
  });
  EXPECT_GT(thrown(), 50);
  printTried("hand-over");
}

TEST_F(ValueAllocationFaults, OfTheRegistryAreThrown) {
  failEvery("registry", [] {
    const MsgIPC registry;
    MsgIPC copy;
    copy = MsgIPC(registry);
    EXPECT_EQ(registry.cmdMap.size(), 29U);
    EXPECT_EQ(copy.cmdMap.size(), 29U);
  });
  const MsgIPC registry;
  const auto command = MsgIPC::NMS_UPDATE_MESSAGE_NETWORK_STATUS;
  failEveryText("getCmdString", [&] { return registry.getCmdString(command); });
  failEveryText("getCmdStruct", [&] { return registry.getCmdStruct(command); });
  failEvery("look-ups", [&] {
    EXPECT_EQ(registry.getCmdByMethodName("nms_update_message_network_status"), command);
    EXPECT_EQ(registry.getCmdByMethodName("unknown"), MsgIPC::IPC_COMMAND_NONE);
    EXPECT_EQ(registry.getCmdStructLenth(command), 2U);
  });
  EXPECT_GT(thrown(), 100);
  printTried("registry");
}

TEST_F(ValueAllocationFaults, OfPathsAreThrown) {
  // Each of them works all out that is not known yet.
  const std::pair<const char*, std::string (*)()> paths[] = {
      {"get_db_journal_filepath", &db::get_db_journal_filepath},
      {"get_db_filepath", &db::get_db_filepath},
      {"get_db_dir_path", &db::get_db_dir_path},
      {"get_data_dir_path", &db::get_data_dir_path}};
  const std::string expected[] = {journalFile(), dbFile(), dbDir(), dataDir()};
  for (std::size_t i = 0; i < std::size(paths); ++i) {
    int number = 0;
    bool isThrown = true;
    while (isThrown) {
      isThrown = false;
      FailingMemory::fail({FailingMemory::Of::PROGRAM, ++number, false});
      try {
        paths[i].second();
      } catch (const std::bad_alloc&) {
        isThrown = true;
      }
      FailingMemory::mend();
    }
    EXPECT_GT(number, 1) << paths[i].first;
    EXPECT_EQ(paths[i].second(), expected[i]);
  }
}

TEST_F(ValueAllocationFaults, OfUtilitiesAreThrown) {
  FakePlatform::get().set("db/csc/salescode", "ATT");
  failEvery("settings", [] {
    EXPECT_TRUE(common_util::is_linkdial_supported());
    EXPECT_EQ(common_util::get_min_match_digit(), 8);
    EXPECT_FALSE(common_util::is_wpc_mode());
  });
  const std::string number = "+82123456789012345678901234567890";
  failEveryText("convert_number", [&] { return common_util::convert_number(number); });
  const std::vector<int> values(40, 1234567);
  failEveryText("to_comma_separated_string",
                [&] { return common_util::to_comma_separated_string(values); });
  failEvery("is_number", [&] { EXPECT_TRUE(common_util::is_number(number)); });
  const std::string path = dataDir() + "file";
  failEvery("create_file_by_rawdata",
            [&] { EXPECT_TRUE(common_util::create_file_by_rawdata(path.c_str(), "bytes", 5)); });
  EXPECT_GT(thrown(), 3);
  printTried("utilities");
}

/** What the library asks of others, without their versions. */
std::set<std::string> functions_asked_for() {
  const ProcessResult symbols = run_program({"nm", "-D", "--undefined-only", LIBRARY_FILE});
  EXPECT_EQ(symbols.status, 0) << symbols.err;
  std::istringstream words(symbols.out);
  std::set<std::string> functions;
  for (std::string word; words >> word;) functions.insert(word.substr(0, word.find('@')));
  return functions;
}

// GLib ends the process where it has no memory, which nobody can catch: it is asked for nothing but
// the nodes of lists.
TEST_F(ValueAllocationFaults, OfGLibAreThoseOfListNodesAlone) {
  std::set<std::string> ofGLib;
  for (const std::string& function : functions_asked_for()) {
    if (function.rfind("g_", 0) == 0) ofGLib.insert(function);
  }
  EXPECT_EQ(ofGLib, (std::set<std::string>{"g_slist_append", "g_slist_free"}));
}

// What gives memory by another name would never fail in these tests.
TEST_F(ValueAllocationFaults, AreAllThatTheLibraryAsksFor) {
  // Plain, of arrays, and each without an exception.
  const std::set<std::string> failingNews = {"_Znwm", "_Znam", "_ZnwmRKSt9nothrow_t",
                                             "_ZnamRKSt9nothrow_t"};
  const std::set<std::string> others = {"aligned_alloc",   "memalign",       "valloc",
                                        "pvalloc",         "reallocarray",   "strndup",
                                        "wcsdup",          "__strdup",       "__strndup",
                                        "asprintf",        "vasprintf",      "__asprintf_chk",
                                        "__vasprintf_chk", "getline",        "getdelim",
                                        "__getdelim",      "open_memstream", "fmemopen",
                                        "realpath",        "getcwd",         "get_current_dir_name",
                                        "scandir",         "scandir64",      "opendir",
                                        "fdopendir",       "fdopen",         "tmpfile",
                                        "tmpfile64",       "tempnam",        "glob",
                                        "regcomp",         "setenv",         "putenv",
                                        "qsort",           "getaddrinfo",    "mmap",
                                        "mmap64",          "sqlite3_malloc", "sqlite3_malloc64",
                                        "sqlite3_mprintf"};
#ifdef TEST_OF_COUNTED
  // What counts branches is in the library too, and keeps its counts in a file.
  const std::set<std::string> countings = {"fdopen", "mmap"};
#else
  const std::set<std::string> countings;
#endif
  const std::set<std::string> functions = functions_asked_for();
  EXPECT_EQ(functions.count("malloc"), 1U);
  for (const std::string& function : functions) {
    EXPECT_TRUE(others.count(function) == 0 || countings.count(function) == 1)
        << function << " never fails here";
    const bool isNew = function.rfind("_Znw", 0) == 0 || function.rfind("_Zna", 0) == 0;
    EXPECT_TRUE(!isNew || failingNews.count(function) == 1) << function << " never fails here";
  }
}

}  // namespace

}  // namespace msg_tarvel
