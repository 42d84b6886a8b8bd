// msg-tarvel export and import: what was exported comes back as it was, whatever it was.

#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "support/as_root.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

class Export : public ToolTest {
 protected:
  void SetUp() override { create(); }

  void generate(const std::vector<std::string>& options) const {
    std::vector<std::string> arguments = {"generate"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProcessResult result = run(arguments);
    ASSERT_EQ(result.status, 0) << result.err;
  }

  /** Every row of every table with its values' types, and every file. */
  std::string wholeStore() const {
    RawConnection connection(dbFile());
    std::string text;
    for (const std::string& table :
         connection.column("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY 1;")) {
      std::string columns;
      for (const std::string& column :
           connection.column("SELECT name FROM pragma_table_info('" + table + "');")) {
        columns += (columns.empty() ? "" : " || ',' || ") + ("typeof(" + column + ") || quote(") +
                   column + ")";
      }
      const std::string order = table == "sqlite_sequence" ? "name" : "rowid";
      text += table + "\n" + rows("SELECT " + columns + " FROM " + table + " ORDER BY " + order);
    }
    for (const std::string& name : mediaFiles()) {
      text += name + "\n" + content_of(mediaDir() + "/" + name);
    }
    return text;
  }

  std::string exported(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments = {"export"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return file("export.jsonl", result.out);
  }

  void beginAnew() const {
    fs::remove_all(dataDir());
    create();
  }

  /** A store of the exported lines is refused with this, and nothing of it stays. */
  void expectRefused(const std::string& lines, const std::string& reason) const {
    const std::string before = wholeStore();
    const std::string path = file("refused.jsonl", lines);
    expectFailure(run({"import", path}), path + reason);
    EXPECT_EQ(wholeStore(), before);
  }
};

const std::string HEADER = "{\"export\":\"msg-tarvel\",\"version\":1}\n";

const std::string END_OF_TWO_MESSAGES = "{\"end\":{\"messages\":2,\"conversations\":1}}\n";

TEST_F(Export, ComesBackAsTheSameStore) {
  for (const std::string seed : {"1", "2"}) {
    generate({"--seed", seed, "--messages", "150"});
    const std::string before = wholeStore();
    const std::string files = std::to_string(mediaFiles().size());
    const std::string path = exported();
    beginAnew();
    const ProcessResult result = run({"import", path});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              "read:    150\nstored:  150\nskipped: 0\nconversations created: 23\n"
              "parts:   " +
                  files + " stored, 0 of them reported\n");
    EXPECT_EQ(wholeStore(), before) << seed;
    beginAnew();
  }
}

TEST_F(Export, EveryValueComesBackInEveryColumn) {
  generate({"--messages", "40"});
  const std::vector<std::string> values = {"NULL",
                                           "-9223372036854775808",
                                           "9223372036854775807",
                                           "0.1",
                                           "2.0",
                                           "1e300",
                                           "9e999",
                                           "-9e999",
                                           "''",
                                           "'null'",
                                           "'{\"blob\": 1}'",
                                           "'a' || char(0) || 'b' || char(10, 13, 27, 127, 8238)",
                                           "'한국어 👩‍👩‍👧 \\ \"'",
                                           "CAST(x'61ff62' AS TEXT)",
                                           "x''",
                                           "x'00ff27'"};
  RawConnection connection(dbFile());
  connection.exec("BEGIN;");
  std::size_t next = 0;
  for (const std::string table :
       {"msg_message_table", "msg_conversation_table", "msg_address_table", "msg_mms_content_table",
        "msg_nms_meta_table", "msg_sim_table", "temp_log", "respond_msg_table", "ft_queue_table",
        "message_transaction_table", "deleted_msg_table", "msg_ft_content_table",
        "mssi_info_table"}) {
    connection.exec("INSERT INTO " + table + " SELECT * FROM " + table + " WHERE 0;");
    for (const std::string& column :
         connection.column("SELECT name FROM pragma_table_info('" + table +
                           "') WHERE pk = 0 AND \"notnull\" = 0 AND name NOT LIKE '%path';")) {
      for (std::size_t i = 0; i < 6; ++i) {
        connection.exec("UPDATE " + table + " SET " + column + " = " +
                        values[next++ % values.size()] + " WHERE rowid = (SELECT rowid FROM " +
                        table + " ORDER BY rowid LIMIT 1 OFFSET " + std::to_string(i) + ");");
      }
    }
  }
  // Rows that belong to nothing, and a number that is not given again.
  connection.exec(
      "INSERT INTO msg_address_table (convId, address) VALUES (777, '+14155550100');"
      "INSERT INTO msg_mms_content_table (msgId, textData) VALUES (888, 'lost'), (NULL, 'lost');"
      "INSERT INTO msg_nms_meta_table (msgId, objectId) VALUES (888, 'lost');"
      "INSERT INTO msg_ft_content_table (msgId, filename) VALUES (888, 'lost');"
      "DELETE FROM msg_message_table WHERE msgId = 40; COMMIT;");
  const std::string before = wholeStore();
  const std::string path = exported();
  beginAnew();
  EXPECT_EQ(run({"import", path}).status, 0);
  EXPECT_EQ(wholeStore(), before);
}

TEST_F(Export, LinesAreObjectsThatNameTheirRows) {
  import(sms({{ "body", "Hello" }}) + mms({}, data_part("image/png", "QUJD"), ""));
  std::istringstream lines(content_of(exported()));
  std::vector<nlohmann::json> parsed;
  for (std::string line; std::getline(lines, line);) parsed.push_back(nlohmann::json::parse(line));
  ASSERT_GE(parsed.size(), 4U);
  EXPECT_EQ(parsed[0], nlohmann::json::parse(HEADER));
  EXPECT_EQ(parsed[1]["conversation"]["convId"], 1);
  EXPECT_EQ(parsed[1]["addresses"][0]["address"], "+14155550111");
  EXPECT_EQ(parsed[2]["message"]["textMessage"], "Hello");
  EXPECT_FALSE(parsed[2].contains("contents"));
  EXPECT_EQ(parsed[3]["contents"][0]["contentType"], "image/png");
  EXPECT_EQ(parsed[3]["contents"][0]["files"], (nlohmann::json{{"filepath", "QUJD"}}));
  EXPECT_EQ(parsed[parsed.size() - 2]["table"], "sqlite_sequence");
  EXPECT_EQ(parsed.back(), nlohmann::json::parse(END_OF_TWO_MESSAGES));
}

TEST_F(Export, FilesGoIntoADirectoryAndComeBackFromThere) {
  generate({"--messages", "150"});
  const std::string before = wholeStore();
  const std::vector<std::string> names = mediaFiles();
  ASSERT_GT(names.size(), 5U);
  const std::string media = folder() + "/files";
  const std::string path = exported({"--media", media});
  EXPECT_NE(content_of(path).find("{\"name\":\"" + names[0] + "\"}"), std::string::npos);
  EXPECT_EQ(static_cast<std::size_t>(
                std::distance(fs::directory_iterator(media), fs::directory_iterator())),
            names.size());
  beginAnew();
  expectFailure(run({"import", path}), path + ":", "its files are elsewhere: give --media DIR");
  EXPECT_EQ(mediaFiles().size(), 0U);
  EXPECT_EQ(run({"import", path, "--media", media}).status, 0);
  EXPECT_EQ(wholeStore(), before);
}

TEST_F(Export, FilesOfAnExportThatFailsGoAgain) {
  import(mms({}, data_part("image/png", "QUJD"), "") + mms({{ "date",
                                                              "1" }},
                                                           data_part("image/png", "QUJE"), ""));
  const std::string media = folder() + "/files";
  std::vector<std::string> command = {"sh", "-c", "exec \"$@\" >/dev/full", "sh"};
  for (const std::string& word : runnable({TOOL_PROGRAM, "export", "--media", media})) {
    command.push_back(word);
  }
  expectFailure(run_program(command, environment()), "cannot write the output");
  EXPECT_FALSE(fs::exists(media));

  // In a directory that was there, what was there stays.
  fs::create_directory(media);
  const std::string last = rows("SELECT filepath FROM msg_mms_content_table WHERE contentId = 2;");
  const std::string name = fs::path(last.substr(0, last.find('\n'))).filename();
  const std::string there = file("files/" + name, "kept");
  ProcessResult result = run({"export", "--media", media});
  result.out.clear();
  expectFailure(result, "cannot create " + there, ": File exists");
  EXPECT_EQ(content_of(there), "kept");
  EXPECT_EQ(std::distance(fs::directory_iterator(media), fs::directory_iterator()), 1);
}

TEST_F(Export, FilesFollowNoLink) {
  import(mms({}, data_part("image/png", "QUJD"), ""));
  const std::string elsewhere = folder() + "/elsewhere";
  const std::string link = folder() + "/link";
  fs::create_directory(elsewhere);
  fs::create_symlink(elsewhere, link);
  expectFailure(run({"export", "--media", link}), "cannot open " + link, ": Not a directory");
  EXPECT_TRUE(fs::is_empty(elsewhere));
  // With its slash it is the directory.
  EXPECT_EQ(run({"export", "--media", link + "/"}).status, 0);
  EXPECT_FALSE(fs::is_empty(elsewhere));
}

TEST_F(Export, AFullDiskLeavesNoFiles) {
  AS_ROOT();
  import(mms({}, data_part("image/png", "QUJD"), "") +
         mms({{ "date",
                "1" }},
             data_part("image/png", std::string(1 << 17, 'Q')), ""));
  const std::string small = folder() + "/small";
  fs::create_directory(small);
  if (mount("none", small.c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "nothing can be mounted here";
  }
  ProcessResult result = run({"export", "--media", small + "/files"});
  result.out.clear();
  expectFailure(result, "cannot write " + small + "/files/", ": No space left on device");
  EXPECT_TRUE(fs::is_empty(small));
  umount(small.c_str());
}

TEST_F(Export, FilesElsewhereStayThere) {
  import(mms({}, data_part("image/png", "QUJD"), "") +
         mms({{ "date",
                "1" }},
             data_part("image/png", "QUJE"), "") +
         mms({{ "date",
                "2" }},
             data_part("image/png", "QUJF"), ""));
  const std::string secret = file("secret", "somebody's secret");
  RawConnection(dbFile()).exec("UPDATE msg_mms_content_table SET filepath = '" + secret +
                               "' WHERE contentId = 1;");
  const std::string second =
      rows("SELECT filepath FROM msg_mms_content_table WHERE contentId = 2;");
  const std::string link = second.substr(0, second.size() - 1);
  fs::remove(link);
  fs::create_symlink(secret, link);
  RawConnection(dbFile()).exec("UPDATE msg_mms_content_table SET thumbpath = '" + mediaDir() +
                               "/../dbspace/.msg-tarvel-server.db' WHERE contentId = 3;");
  const ProcessResult result = run({"export"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "msg-tarvel: left out: 3 files that are missing or not in the store's "
            "media\n");
  EXPECT_NE(result.out.find("\"files\":{\"filepath\":\"QUJF\"}"), std::string::npos);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n') > 0, true);
  EXPECT_EQ(result.out.find("\"filepath\":\"c29tZ"), std::string::npos);
}

TEST_F(Export, FilesOfAnyNameAndContentComeBack) {
  import(mms({}, text_part("a") + text_part("b") + text_part("c") + text_part("d"), ""));
  fs::create_directories(mediaDir());
  const std::vector<std::pair<std::string, std::string>> files = {{"picture", "without extension"},
                                                                  {"ends.", "with a dot"},
                                                                  {"empty.png", ""},
                                                                  {"word.bin", "\x9E\xE9\x65"}};
  std::string updates;
  for (std::size_t i = 0; i < files.size(); ++i) {
    file("data/media/" + files[i].first, files[i].second);
    updates += "UPDATE msg_mms_content_table SET filepath = '" + mediaDir() + "/" + files[i].first +
               "' WHERE contentId = " + std::to_string(i + 1) + ";";
  }
  RawConnection(dbFile()).exec(updates);
  const std::string before = wholeStore();
  const std::string media = folder() + "/files";
  const std::string held = exported();
  const std::string beside = file("beside.jsonl", run({"export", "--media", media}).out);
  EXPECT_NE(content_of(held).find(R"("files":{"filepath":"null"})"), std::string::npos);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"import", held}, {"import", beside, "--media", media}}) {
    beginAnew();
    const ProcessResult result = run(words);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(wholeStore(), before);
  }
}

TEST_F(Export, FilesWhoseNamesAreNotUtf8AreToldOf) {
  import(mms({}, data_part("image/png", "QUJD"), "") + mms({{ "date",
                                                              "1" }},
                                                           text_part("a") + text_part("b"), ""));
  RawConnection(dbFile()).exec(
      "UPDATE msg_mms_content_table SET filepath = CAST(filepath || x'ff' AS TEXT), thumbpath = 7 "
      "WHERE contentId = 1;"
      "UPDATE msg_mms_content_table SET filepath = x'2f61', thumbpath = '' WHERE contentId = 2;");
  const std::string paths =
      "SELECT quote(filepath) || quote(thumbpath) FROM msg_mms_content_table;";
  const std::string before = rows(paths);
  const ProcessResult result = run({"export"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "msg-tarvel: left out: 1 files that are missing or not in the store's media\n"
            "msg-tarvel: left out: 2 files whose names are not UTF-8\n");
  beginAnew();
  EXPECT_EQ(json({"import", file("export.jsonl", result.out)})["stored"], 2);
  EXPECT_EQ(rows(paths), before);
}

TEST_F(Export, AMessageThatOnlyAnIndexHasIsDamage) {
  import(sms({}) + sms({{ "date", "1" }}));
  // The index is hidden while a message goes.
  RawConnection connection(dbFile());
  connection.exec(
      "PRAGMA writable_schema = ON;"
      "CREATE TEMP TABLE hidden AS SELECT * FROM sqlite_master WHERE tbl_name = "
      "'msg_message_table' AND type = 'index';"
      "DELETE FROM sqlite_master WHERE tbl_name = 'msg_message_table' AND type = 'index';"
      "PRAGMA writable_schema = RESET;");
  connection.exec("DELETE FROM msg_message_table WHERE msgId = 2;");
  connection.exec(
      "PRAGMA writable_schema = ON;"
      "INSERT INTO sqlite_master SELECT * FROM temp.hidden;"
      "PRAGMA writable_schema = RESET;");
  for (const std::vector<std::string>& words : {std::vector<std::string>{}, {"--format", "xml"}}) {
    std::vector<std::string> command = {"export", "--folder", "all"};
    command.insert(command.end(), words.begin(), words.end());
    ProcessResult result = run(command);
    result.out.clear();
    expectFailure(result, "cannot export the message store: ");
  }
}

TEST_F(Export, IsReadBackOnlyIntoAStoreWithoutMessages) {
  import(sms({}));
  const std::string path = exported();
  const std::string before = wholeStore();
  expectFailure(run({"import", path}),
                "the store has messages or conversations; an export is read back into an empty");
  EXPECT_EQ(wholeStore(), before);
}

TEST_F(Export, ADryRunChangesNothing) {
  generate({"--messages", "50"});
  const std::string path = exported();
  beginAnew();
  file("data/media/incoming-7-1.png", "left by an import that was killed");
  const std::string before = wholeStore();
  EXPECT_EQ(json({"import", "--dry-run", path})["stored"], 50);
  EXPECT_EQ(wholeStore(), before);
  EXPECT_EQ(json({"import", path})["stored"], 50);
  EXPECT_EQ(run({"check"}).status, 0);
}

TEST_F(Export, ComesBackThroughAPipeAndCompressed) {
  generate({"--messages", "30"});
  const std::string before = wholeStore();
  const std::string path = exported();
  beginAnew();
  ASSERT_EQ(run_program({"gzip", path}).status, 0);
  EXPECT_EQ(run({"import", path + ".gz"}).status, 0);
  EXPECT_EQ(wholeStore(), before);
  beginAnew();
  const ProcessResult piped =
      run_program({TOOL_PROGRAM, "import", "-"}, environment(), content_of(path + ".gz"));
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(wholeStore(), before);
}

TEST_F(Export, WhatIsNoExportChangesNothing) {
  expectRefused("{}\n", ":1: no export of msg-tarvel");
  expectRefused("{\"export\":\"msg-tarvel\",\"version\":2}\n", ":1: an export of another version");
  expectRefused(HEADER + "nonsense\n", ":2: no line of an export");
  expectRefused(HEADER + "{\"odd\":1}\n", ":2: no line of an export");
  expectRefused(HEADER + "{\"table\":\"temp_log\",\"row\":{}}" + '\0' + "\"x\n",
                ":2: no line of an export");
  expectRefused(HEADER + "{\"message\":{\"convId\":1}}\n{\"message\":{\"convId\":[1]}}\n",
                ":3: no value of a row: [1]");
  expectRefused(HEADER + "{\"table\":\"sqlite_master\",\"row\":{\"name\":\"x\"}}\n",
                ":2: a store has no table 'sqlite_master'");
  const std::string content =
      HEADER + "{\"message\":{\"convId\":1},\"contents\":[{\"filepath\":\"/a/";
  expectRefused(content + "1.png\",\"files\":{\"filepath\":\"QUJ\"}}]}\n",
                ":2: damaged base64 of 1.png");
  expectRefused(content + "..\",\"files\":{\"filepath\":\"QUJD\"}}]}\n",
                ":2: no name for a file: ..");
  expectRefused(content + "1.png\",\"files\":{\"filepath\":{\"name\":\"../x\"}}}]}\n",
                ":2: its files are elsewhere: give --media DIR");
  EXPECT_EQ(mediaFiles().size(), 0U);
}

TEST_F(Export, DeepNestingIsAnError) {
  constexpr std::size_t DEPTH = 100000;
  const std::string value = std::string(DEPTH, '[') + std::string(DEPTH, ']');
  std::string objects;
  for (std::size_t i = 0; i < DEPTH; ++i) objects += "{\"a\":";
  objects += "1" + std::string(DEPTH, '}');
  for (const std::string& line : {
           "{\"message\":{\"textMessage\":" + value + "}}",
           "{\"message\":{\"convId\":1},\"contents\":[{\"textData\":" + objects + "}]}",
           "{\"row\":{\"a\":" + value + "},\"table\":\"temp_log\"}",
           // Never closed, which comes before its being no JSON.
           std::string(DEPTH, '['),
       }) {
    expectRefused(HEADER + line + "\n", ":2: no line of an export: it is nested too deeply");
  }
  const std::string first = "{\"export\":" + value + "}\n";
  expectRefused(first, ":1: no line of an export: it is nested too deeply");
  const std::string path = file("deep.jsonl", first);
  expectFailure(run({"import", "--dry-run", path}), path + ":1: no line of an export");
}

TEST_F(Export, BracketsInATextAreNoNesting) {
  const std::string brackets =
      "\\&quot;" + std::string(100, '[') + "&quot;" + std::string(100, '{');
  import(sms({{ "body", std::string(100, '[') }}) + sms({{"date", "1"}, { "body", brackets }}));
  const std::string before = wholeStore();
  const std::string path = exported();
  beginAnew();
  EXPECT_EQ(json({"import", path})["stored"], 2);
  EXPECT_EQ(wholeStore(), before);
}

TEST_F(Export, WhatIsCutShortChangesNothing) {
  import(sms({}) + sms({{ "date", "1" }}));
  const std::string whole = content_of(exported());
  beginAnew();
  std::size_t end = 0;
  std::size_t lines = 0;
  while ((end = whole.find('\n', end) + 1) < whole.size()) {
    expectRefused(whole.substr(0, end), ": cut short: its last line is missing\n");
    ++lines;
  }
  EXPECT_GE(lines, 5U);
  const std::string number = std::to_string(lines + 1);
  // All but the newline is there.
  EXPECT_EQ(json({"import", "--dry-run",
                  file("whole.jsonl", whole.substr(0, whole.size() - 1))})["stored"],
            2);
  expectRefused(whole.substr(0, whole.size() - 2), ":" + number + ": no line of an export");
  expectRefused(whole + whole.substr(whole.find('\n') + 1),
                ":" + std::to_string(lines + 2) + ": a line behind the last one of an export");

  // JSON's fields have no order.
  const std::string other = HEADER + "{\"end\":{\"conversations\":0,\"messages\":0,\"more\":1}}\n";
  EXPECT_EQ(json({"import", file("other.jsonl", other)})["stored"], 0);

  const std::string wrong = ": lines before this one are missing or too many\n";
  const std::string message = "{\"message\":{\"convId\":1}}\n";
  expectRefused(HEADER + END_OF_TWO_MESSAGES, ":2" + wrong);
  expectRefused(HEADER + message + message + END_OF_TWO_MESSAGES, ":4" + wrong);
  const std::string conversation = "{\"conversation\":{\"convId\":1}}\n";
  expectRefused(HEADER + conversation + message + END_OF_TWO_MESSAGES, ":4" + wrong);
  expectRefused(HEADER + conversation + message + message + message + END_OF_TWO_MESSAGES,
                ":6" + wrong);
  expectRefused(HEADER + "{\"end\":true}\n", ":2" + wrong);
  expectRefused(HEADER + "{\"end\":{}}\n", ":2" + wrong);
}

TEST_F(Export, IsReadBackWithoutOptionsForPhones) {
  const std::string path = exported();
  const std::string before = wholeStore();
  const std::vector<std::vector<std::string>> refused = {{"--keep-going"},
                                                         {"--own-number", "+14155550100"}};
  for (const std::vector<std::string>& words : refused) {
    std::vector<std::string> arguments = {"import", path};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "msg-tarvel: " + path + " is an export; " + words[0] +
                              " is only for phones' backups\n");
  }
  EXPECT_EQ(wholeStore(), before);
}

TEST_F(Export, ARowThatComesTwiceIsAnError) {
  const std::string message = "{\"message\":{\"msgId\":1,\"convId\":1,\"textMessage\":\"";
  expectRefused(HEADER + message + "a\"}}\n" + message + "b\"}}\n",
                ":3: UNIQUE constraint failed: msg_message_table.msgId");
}

TEST_F(Export, ARowThatNoStoreTakesNamesItsLine) {
  expectRefused(HEADER + "{\"message\":{\"msgId\":\"x\",\"convId\":1}}\n", ":2: datatype mismatch");
  expectRefused(HEADER + "{\"table\":\"msg_address_table\",\"row\":{\"convId\":null}}\n",
                ":2: NOT NULL constraint failed: msg_address_table.convId");
  expectRefused(HEADER + "{\"message\":{\"convId\":1}}\n{\"message\":{\"odd\":1}}\n",
                ":3: table msg_message_table has no column named odd");
}

TEST_F(Export, AnIntegerThatNoStoreHoldsNamesItsLine) {
  const std::string conversation = R"({"conversation":{"convId":1}})"
                                   "\n";
  const auto message = [](const std::string& itemId) {
    return R"({"message":{"convId":1,"mainText":"\\\"","itemId":)" + itemId +
           R"(,"textMessage":"\" 18446744073709551615 \\"}})"
           "\n";
  };
  for (const std::string number : {"9223372036854775808", "18446744073709551615",
                                   "18446744073709551616", "-9223372036854775809"}) {
    expectRefused(HEADER + conversation + message("1") + message(number),
                  ":4: no store holds the number " + number);
  }
  const std::string taken = HEADER + conversation + message("9223372036854775807") +
                            message("-9223372036854775808") + message("18446744073709551616.0") +
                            message("1e300") + "{\"end\":{\"messages\":4,\"conversations\":1}}\n";
  EXPECT_EQ(json({"import", file("taken.jsonl", taken)})["stored"], 4);
  EXPECT_EQ(rows("SELECT itemId FROM msg_message_table;"),
            "9223372036854775807\n-9223372036854775808\n1.84467440737096e+19\n1.0e+300\n");
}

TEST_F(Export, AFullDiskIsNoFaultOfALine) {
  const std::string path =
      file("long.jsonl", HEADER + "{\"message\":{\"convId\":1,\"textMessage\":\"" +
                             std::string(8000000, 'a') + "\"}}\n");
  const ProcessResult result = run_program(
      {"sh", "-c", "trap '' XFSZ; ulimit -f 4000; exec \"$0\" import \"$1\"", TOOL_PROGRAM, path},
      environment());
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "msg-tarvel: reading or writing it failed\n");
  EXPECT_EQ(rows("SELECT count(*) FROM msg_message_table;"), "0\n");
}

TEST_F(Export, ReplacesTheSimCardsOfAStoreWithoutMessages) {
  const std::string addCard = "INSERT INTO msg_sim_table (id, Imsi) VALUES (1, ";
  RawConnection(dbFile()).exec(addCard + "'exported');");
  const std::string path = exported();
  beginAnew();
  RawConnection(dbFile()).exec(addCard + "'its own');");
  EXPECT_EQ(run({"import", path}).status, 0);
  EXPECT_EQ(rows("SELECT id || Imsi FROM msg_sim_table;"), "1exported\n");
}

TEST_F(Export, TakesNoMemoryForMessages) {
  generate({"--messages", "500"});
  RawConnection(dbFile()).exec("UPDATE msg_message_table SET textMessage = hex(zeroblob(80000));");
  EXPECT_GT(runWithLittleMemory({"export"}).out.size(), 80000000U);
}

TEST_F(Export, AFilterChoosesMessagesWithTheirConversations) {
  import(sms(
             {{ "body",
                "one" }}) +
         sms({{"body", "two"},
              { "address",
                "+14155550122" }}) +
         sms({{"body", "three"},
              { "date",
                "1740000000001" }}) +
         mms({{ "date",
                "1740000000002" }},
             data_part("image/png", "QUJD"), ""));
  const auto kinds = [this](const std::vector<std::string>& options) {
    std::istringstream lines(content_of(exported(options)));
    std::string all;
    for (std::string line; std::getline(lines, line);) {
      const auto parsed = nlohmann::json::parse(line);
      if (parsed.contains("conversation")) all += "c" + parsed["conversation"]["convId"].dump();
      if (parsed.contains("message")) all += " m" + parsed["message"]["msgId"].dump() + " ";
      if (parsed.contains("row")) all += "r";
    }
    return all;
  };
  EXPECT_EQ(kinds({"--conv", "2"}), "c2 m2 ");
  EXPECT_EQ(kinds({"--text", "three"}), "c1 m3 ");
  EXPECT_EQ(kinds({"--conv", "1"}), "c1 m1  m3  m4 ");
  EXPECT_EQ(kinds({"--limit", "3"}), "c1 m4  m3  m1 ");
  const ProcessResult nothing = run({"export", "--folder", "sent"});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_EQ(nothing.err, "msg-tarvel: the store has no such message\n");

  const std::string path = exported({"--type", "mms"});
  beginAnew();
  EXPECT_EQ(json({"import", path})["stored"], 1);
  EXPECT_EQ(rows("SELECT msgId FROM msg_message_table;"), "4\n");
  EXPECT_EQ(mediaFiles().size(), 1U);
  EXPECT_EQ(run({"check"}).status, 0);
}

TEST_F(Export, ChosenMessagesMakeASoundStore) {
  import(sms(
             {{ "body",
                "read" }}) +
         sms({{"date", "1740000000001"},
              {"read", "0"},
              { "body",
                "new" }}) +
         sms({{"date", "1740000000002"},
              { "body",
                "newest" }}) +
         sms({{"address", "+14155550122"},
              {"read", "0"},
              { "body",
                "other" }}) +
         sms(
             {{ "address",
                "+14155550133" }}));
  RawConnection(dbFile()).exec("DELETE FROM msg_message_table WHERE msgId = 5;");
  const std::string summaries =
      "SELECT convId || ': ' || msgCnt || ' ' || unreadCnt || ' ' || lastMsgId || ' ' || msgText "
      "|| "
      "' ' || displayTime FROM msg_conversation_table;";
  ASSERT_EQ(rows(summaries).rfind("1: 3 1 3 newest 1740000000002\n", 0), 0U) << rows(summaries);
  const std::string version = rows("SELECT quote(restartToken) || id FROM mssi_info_table;");
  const std::string path = exported({"--unread"});
  EXPECT_EQ(
      content_of(path).rfind("{\"export\":\"msg-tarvel\",\"version\":1,\"filtered\":true}\n", 0),
      0U);
  beginAnew();
  EXPECT_EQ(json({"import", path})["stored"], 2);
  EXPECT_EQ(rows(summaries), "1: 1 1 2 new 1740000000001\n2: 1 1 4 other 1740000000000\n");
  EXPECT_EQ(rows("SELECT quote(restartToken) || id FROM mssi_info_table;"), version);
  const ProcessResult checked = run({"check"});
  EXPECT_EQ(checked.status, 0) << checked.out;
}

TEST_F(Export, AWholeExportKeepsWrongCounters) {
  import(sms({}));
  RawConnection(dbFile()).exec("UPDATE msg_conversation_table SET msgCnt = 7, unreadCnt = 8;");
  const std::string before = wholeStore();
  const std::string path = exported();
  beginAnew();
  EXPECT_EQ(run({"import", path}).status, 0);
  EXPECT_EQ(wholeStore(), before);
}

TEST_F(Export, ChosenMessagesHaveIdsOf64Bits) {
  import(sms(
             {{ "body",
                "one" }}) +
         sms({{"body", "two"},
              {"address", "+14155550122"},
              { "date",
                "1740000000001" }}));
  // In 32 bits the second message would be the first, and its conversation too.
  RawConnection(dbFile()).exec(
      "UPDATE msg_message_table SET msgId = 4294967297, convId = 4294967297 WHERE msgId = 2;"
      "UPDATE msg_conversation_table SET convId = 4294967297 WHERE convId = 2;"
      "UPDATE msg_address_table SET convId = 4294967297 WHERE convId = 2;");
  const std::string ids =
      "SELECT msgId || ' ' || convId || ' ' || textMessage FROM msg_message_table;";
  const std::string second = "4294967297 4294967297 two\n";
  ASSERT_EQ(rows(ids), "1 1 one\n" + second);
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(xml.err, "");
  EXPECT_NE(xml.out.find("body=\"two\""), std::string::npos);
  EXPECT_EQ(json({"messages"}).size(), 1U) << "the library has no number for the other one";

  const std::string lines = content_of(exported({"--limit", "1"}));
  EXPECT_EQ(content_of(exported({"--with", "+14155550122"})), lines);
  beginAnew();
  EXPECT_EQ(json({"import", file("newest.jsonl", lines)})["stored"], 1);
  EXPECT_EQ(rows(ids), second);
  EXPECT_EQ(rows("SELECT convId || address FROM msg_address_table;"), "4294967297+14155550122\n");
  EXPECT_EQ(rows("SELECT lastMsgId || msgText FROM msg_conversation_table;"), "4294967297two\n");
}

TEST_F(Export, XmlComesBackAsTheSameMessages) {
  const auto messages = [this] {
    return rows(
               "SELECT msgId || quote(msgType) || storageFolder || ' ' || networkStatus || "
               "quote(mainText) || quote(textMessage) || displayTime || ' ' || attachedNum || "
               "read || quote(peerGroupChatSender) FROM msg_message_table ORDER BY msgId;") +
           rows(
               "SELECT convId || quote(address) || quote(recipientType) FROM msg_address_table "
               "ORDER BY addressId;") +
           rows(
               "SELECT msgId || quote(textData) || contentType || quote(filename) || slideIdx || "
               "quote(size) FROM msg_mms_content_table ORDER BY contentId;") +
           rows("SELECT msgCnt || ' ' || unreadCnt FROM msg_conversation_table ORDER BY convId;");
  };
  run({"import", std::string(SAMPLES_DIR) + "/backup.xml", "--own-number", "+14155550100"});
  const std::string before = messages();
  ASSERT_GT(before.size(), 20000U);
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(xml.status, 0);
  EXPECT_EQ(xml.err, "");
  EXPECT_NE(xml.out.find("<smses count=\"306\">"), std::string::npos);
  beginAnew();
  EXPECT_EQ(json({"import", file("phone.xml", xml.out)})["stored"], 306);
  EXPECT_EQ(messages(), before);
}

TEST_F(Export, XmlKeepsHowPeopleWereAddressed) {
  const std::string own = "+14155550100";
  const auto message = [](const std::string& date, const std::string& box, const std::string& list,
                          const std::vector<std::pair<int, std::string>>& people) {
    return mms({{"address", list},
                {"date", date},
                {"msg_box", box},
                {"m_type", box == "1" ? "132" : "128"}},
               text_part("text"), addrs(people));
  };
  import(message("1", "1", "+14155550111~+14155550122~+14155550133",
                 {{137, "+14155550111"},
                  {151, own},
                  {130, "+14155550122"},
                  { 129,
                    "+14155550133" }}) +
             message("2", "2", "+14155550111~+14155550144~+14155550155",
                     {{137, "insert-address-token"},
                      {130, "+14155550111"},
                      {151, "+14155550144"},
                      { 129,
                        "+14155550155" }}) +
             message("3", "2", "+14155550166",
                     {{137, "insert-address-token"},
                      { 129,
                        "+14155550166" }}),
         {"--own-number", own});
  // What an owner may have written there beside.
  RawConnection(dbFile()).exec(
      "UPDATE msg_address_table SET recipientType = 7 WHERE addressId = 5;");
  const std::string people =
      "SELECT convId || ' ' || substr(address, -2) || ' ' || recipientType FROM msg_address_table "
      "ORDER BY addressId;";
  const auto kinds = [](const std::string& fifth) {
    return "1 11 1\n1 22 2\n1 33 3\n2 11 2\n2 44 " + fifth + "\n2 55 3\n3 66 3\n";
  };
  ASSERT_EQ(rows(people), kinds("7"));
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(xml.err, "");
  for (const std::string addr : {"<addr address=\"+14155550111\" type=\"137\"",
                                 "<addr address=\"+14155550111\" type=\"130\"",
                                 "<addr address=\"+14155550144\" type=\"151\"",
                                 "<addr address=\"+14155550155\" type=\"129\""}) {
    EXPECT_NE(xml.out.find(addr), std::string::npos) << addr;
  }
  beginAnew();
  EXPECT_EQ(json({"import", file("phone.xml", xml.out)})["stored"], 3);
  EXPECT_EQ(rows(people), kinds("1"));
}

TEST_F(Export, XmlKeepsATextBesideTextsThatAreNone) {
  const auto part = [](const std::string& type, const std::string& text) {
    return element("part", {{"seq", "0"}, {"ct", type}, {"text", text}});
  };
  import(mms({}, part("text/x-vcard", "BEGIN:VCARD") + part("text/html", "&lt;p>"), "") +
         mms({{ "date",
                "2" }},
             part("text/x-vcard", "BEGIN:VCARD") + part("Text/Plain; charset=utf-8", "its own"),
             ""));
  RawConnection(dbFile()).exec(
      "UPDATE msg_message_table SET textMessage = 'see contact', mainText = 'see contact' WHERE "
      "msgId = 1;");
  const std::string texts =
      "SELECT mainText || '|' || textMessage FROM msg_message_table ORDER BY displayTime;";
  ASSERT_EQ(rows(texts), "its own|its own\nsee contact|see contact\n");
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(xml.err, "");
  beginAnew();
  EXPECT_EQ(json({"import", file("phone.xml", xml.out)})["stored"], 2);
  EXPECT_EQ(rows(texts), "its own|its own\nsee contact|see contact\n");
  EXPECT_EQ(
      rows("SELECT contentType || '|' || textData FROM msg_mms_content_table ORDER BY contentId;"),
      "text/x-vcard|BEGIN:VCARD\nText/Plain; charset=utf-8|its own\n"
      "text/x-vcard|BEGIN:VCARD\ntext/html|<p>\ntext/plain|see contact\n");
}

TEST_F(Export, XmlKeepsTextsOfOddParts) {
  const auto part = [](const std::string& type, const std::string& text) {
    return element("part", {{"seq", "0"}, {"ct", type}, {"text", text}});
  };
  import(mms({{ "date",
                "1" }},
             part("text/plain", "") + part("text/html", "") + part("text/plain", "a") +
                 part("text/plain", "b"),
             "") +
         mms({{ "date",
                "2" }},
             part("text/plain", "typeless"), "") +
         mms({{ "date",
                "3" }},
             part("text/plain", "its part's"), "") +
         mms({{ "date",
                "4" }},
             data_part("text/x-vcard", "QUJD") + data_part("text/plain", "QUJE"), ""));
  RawConnection(dbFile()).exec(
      "UPDATE msg_mms_content_table SET contentType = NULL WHERE textData = 'typeless';"
      "UPDATE msg_message_table SET textMessage = 'its own' WHERE displayTime = 3;"
      "UPDATE msg_mms_content_table SET filepath = '/gone.txt' WHERE filepath LIKE '%.txt';");
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(xml.err,
            "msg-tarvel: left out: 1 files that are missing or not in the store's media\n"
            "msg-tarvel: left out: 1 texts of messages that their parts do not have\n");
  EXPECT_NE(xml.out.find("text=\"null\" data=\"QUJD\""), std::string::npos);
  beginAnew();
  EXPECT_EQ(json({"import", file("phone.xml", xml.out)})["stored"], 4);
  EXPECT_EQ(rows("SELECT textMessage FROM msg_message_table ORDER BY displayTime;"),
            "a\nb\ntypeless\nits part's\n\n");
  EXPECT_EQ(rows("SELECT contentType || '|' || textData FROM msg_mms_content_table ORDER BY msgId, "
                 "contentId;"),
            "text/plain|\ntext/html|\ntext/plain|a\ntext/plain|b\ntext/plain|typeless\ntext/"
            "plain|its part's\ntext/x-vcard|\ntext/plain|\n");
}

TEST_F(Export, XmlTellsOfKindsAndFoldersThatPhonesDoNotHave) {
  std::string elements;
  for (int i = 1; i <= 8; ++i) {
    const std::string number = std::to_string(i);
    elements += sms({{"date", number}, {"body", "text " + number}});
  }
  import(elements);
  file("data/media/a.png", "ABC");
  RawConnection(dbFile()).exec(
      "UPDATE msg_message_table SET msgType = 'chat' WHERE msgId IN (2, 3);"
      "UPDATE msg_message_table SET mainText = 'null' WHERE msgId = 4;"
      "UPDATE msg_message_table SET mainText = 'null', textMessage = 'null' WHERE msgId = 8;"
      "UPDATE msg_message_table SET storageFolder = 0 WHERE msgId = 5;"
      "UPDATE msg_message_table SET storageFolder = NULL WHERE msgId = 6;"
      "UPDATE msg_message_table SET storageFolder = 9 WHERE msgId = 7;"
      "INSERT INTO msg_mms_content_table (msgId, contentType, filepath, hasFile) VALUES "
      "(1, 'image/png', '" +
      mediaDir() + "/a.png', 1);");
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(
      xml.err,
      "msg-tarvel: left out: 2 kinds of messages beside sms and mms\n"
      "msg-tarvel: left out: 3 messages in folders that phones do not have\n"
      "msg-tarvel: left out: 1 subjects that are the word for none\n"
      "msg-tarvel: left out: 1 texts with parts, which became multimedia messages: their kind\n");
  beginAnew();
  EXPECT_EQ(json({"import", file("phone.xml", xml.out)})["stored"], 5);
  EXPECT_EQ(rows("SELECT msgType || '|' || mainText || '|' || textMessage || '|' || attachedNum "
                 "FROM msg_message_table ORDER BY displayTime;"),
            "mms|text 1|text 1|1\nsms|text 2|text 2|0\nsms|text 3|text 3|0\nsms|text 4|text "
            "4|0\nsms|null|null|0\n");
  EXPECT_EQ(mediaFiles().size(), 1U);
}

TEST_F(Export, XmlTellsOfAddressesThatPhonesMisread) {
  import(sms(
             {{ "address",
                "Alice" }}) +
         sms(
             {{ "address",
                "Bob" }}) +
         sms(
             {{ "address",
                "Carol" }}) +
         sms(
             {{ "address",
                "nullify" }}));
  RawConnection(dbFile()).exec(
      "UPDATE msg_address_table SET address = 'null' WHERE address = 'Alice';"
      "UPDATE msg_address_table SET address = 'insert-address-token' WHERE address = 'Bob';"
      "UPDATE msg_address_table SET address = 'x~y' WHERE address = 'Carol';");
  EXPECT_EQ(run({"export", "--format", "xml"}).err,
            "msg-tarvel: left out: 3 addresses that phones misread\n");
}

TEST_F(Export, XmlHasTextsThatAreNotUtf8AndBlobs) {
  import(sms(
             {{ "date",
                "1" }}) +
         mms({{"date", "2"},
              { "address",
                "+14155550122" }},
             text_part("part") + data_part("image/png", "QUJD"), ""));
  const std::string path = rows("SELECT filepath FROM msg_mms_content_table WHERE contentId = 2;");
  fs::rename(path.substr(0, path.size() - 1), mediaDir() + "/a\xFF.png");
  RawConnection(dbFile()).exec(
      // An invalid byte, half of a pair of surrogates, NUL and more.
      "UPDATE msg_message_table SET textMessage = CAST(x'68656c6cff6f' AS TEXT), "
      "mainText = CAST(x'eda0bd' AS TEXT) WHERE msgId = 1;"
      "UPDATE msg_address_table SET address = CAST(x'feff' AS TEXT) WHERE convId = 1;"
      "UPDATE msg_message_table SET mainText = x'7375626a656374', textMessage = x'626c6f6200', "
      "displayTime = 2.5, storageFolder "
      "= 1.5 WHERE msgId = 2;"
      "UPDATE msg_mms_content_table SET textData = x'626c6f6200', slideIdx = 7.5 WHERE contentId = "
      "1;"
      "UPDATE msg_mms_content_table SET filename = CAST(x'c3' AS TEXT), filepath = CAST('" +
      mediaDir() + "/a' || x'ff' || '.png' AS TEXT) WHERE contentId = 2;");
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(xml.status, 0);
  EXPECT_EQ(xml.err, "msg-tarvel: left out: 9 characters that XML does not have\n");
  beginAnew();
  EXPECT_EQ(json({"import", file("phone.xml", xml.out)})["stored"], 2);
  const std::string lost = "\xEF\xBF\xBD";
  EXPECT_EQ(rows("SELECT displayTime || '|' || storageFolder || '|' || mainText || '|' || "
                 "textMessage FROM msg_message_table;"),
            "1|1|" + lost + lost + lost + "|hell" + lost + "o\n2|1|subject|blob" + lost + "\n");
  EXPECT_EQ(rows("SELECT address FROM msg_address_table;"), lost + lost + "\n+14155550122\n");
  EXPECT_EQ(
      rows("SELECT slideIdx || '|' || textData || '|' || filename FROM msg_mms_content_table;"),
      "7|blob" + lost + "|text.txt\n0||" + lost + "\n");
  ASSERT_EQ(mediaFiles().size(), 1U);
  EXPECT_EQ(content_of(mediaDir() + "/" + mediaFiles().front()), "ABC");
}

TEST_F(Export, XmlHasNoCharacterThatActsOnATerminal) {
  import(sms({{ "body", "text" }}));
  RawConnection(dbFile()).exec(
      "UPDATE msg_message_table SET textMessage = 'a' || char(127, 155, 8238, 173) || 'b' || "
      "char(8205) || 'c', mainText = textMessage;");
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_NE(xml.out.find("body=\"a&#127;&#155;&#8238;&#173;b\xE2\x80\x8D"
                         "c\""),
            std::string::npos)
      << xml.out;
  const std::string before = rows("SELECT hex(textMessage) FROM msg_message_table;");
  beginAnew();
  EXPECT_EQ(run({"import", file("phone.xml", xml.out)}).status, 0);
  EXPECT_EQ(rows("SELECT hex(textMessage) FROM msg_message_table;"), before);
}

TEST_F(Export, XmlTellsWhatItLeavesOut) {
  generate({"--messages", "400"});
  RawConnection(dbFile()).exec(
      "UPDATE msg_message_table SET textMessage = 'a' || char(1) || '<&\"' || char(10) || 'b', "
      "mainText = textMessage WHERE msgId = 7;");
  const ProcessResult xml = run({"export", "--format", "xml"});
  EXPECT_EQ(xml.status, 0);
  EXPECT_NE(xml.out.find("a\xEF\xBF\xBD&#60;&#38;&#34;&#10;b"), std::string::npos);
  for (const std::string what :
       {"1 characters that XML does not have", " messages' network store metadata",
        " standalone folders", " stickers", " thumbnails", "2 rows of msg_sim_table",
        "4 rows of deleted_msg_table", " messages in folders that phones do not have\n",
        " texts to groups, which became multimedia messages"}) {
    EXPECT_NE(xml.err.find("msg-tarvel: left out: "), std::string::npos);
    EXPECT_NE(xml.err.find(what), std::string::npos) << what << "\n" << xml.err;
  }
  const std::string count = *RawConnection(dbFile()).value(
      "SELECT count(*) FROM msg_message_table WHERE storageFolder IN (5, 105);");
  EXPECT_NE(count, "0");
  EXPECT_NE(xml.err.find("left out: " + count + " messages in folders"), std::string::npos);
  EXPECT_EQ(run({"export", "--format", "xml", "--media", folder() + "/m"}).status, 2);
  EXPECT_EQ(run({"export", "--format", "html"}).status, 2);
  beginAnew();
  EXPECT_GT(json({"import", file("phone.xml", xml.out)})["stored"], 370);
}

TEST_F(Export, HasNoOtherJson) {
  const ProcessResult result = run({"export", "--json"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "msg-tarvel: export has formats of its own, and no --json\n");
  EXPECT_EQ(run({"export", "--help"}).out.find("--json"), std::string::npos);
}

}  // namespace
}  // namespace msg_tarvel
