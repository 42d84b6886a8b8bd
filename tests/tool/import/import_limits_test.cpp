// An import of what is long or many takes neither memory nor time for it.

#include <chrono>
#include <fstream>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class ImportLimits : public ToolTest {
 protected:
  void SetUp() override { create(); }

  /** Imports within a time that only growth by squares exceeds. */
  nlohmann::json importSoon(const std::string& elements) const {
    const auto start = std::chrono::steady_clock::now();
    auto summary = import(elements);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    return summary;
  }
};

/** Many megabytes of it between `head` and `tail`. */
void write_long(std::ostream& out, const std::string& head, const std::string& piece,
                const std::string& tail) {
  constexpr std::size_t SIZE = 12'000'000;
  out << head;
  for (std::size_t written = 0; written < SIZE; written += piece.size()) out << piece;
  out << tail << "\n";
}

TEST_F(ImportLimits, NothingLongIsInMemory) {
  const std::string path = folder() + "/long.xml";
  std::ofstream out(path);
  std::string words;
  for (int i = 0; i < 1000; ++i) words += "no line, ";
  const std::string message = "<sms address=\"1\" date=\"1\" type=\"1\" ";
  out << "<smses>\n";
  write_long(out, "<!-- ", words, " -->");
  write_long(out, "<?target ", words, "?>");
  write_long(out, "<![CDATA[ ", words, " ]]>");
  write_long(out, message + "unknown=\"", words, "\"/>");
  write_long(out, message + "body=\"", std::string(1000, '-') + "&amp;가", "\"/>");
  write_long(out, "<mms date=\"1\" msg_box=\"1\"><parts><part ct=\"image/png\" data=\"",
             std::string(1000, '\n'), "\"/></parts></mms>");
  out << sms({{"date", "null"}}) << "</smses>\n";
  out.close();
  const ProcessResult result = runWithLittleMemory({"import", path, "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto summary = nlohmann::json::parse(result.out);
  EXPECT_EQ(summary["stored"], 2);
  // The lines that the parser does not get count all the same.
  EXPECT_EQ(summary["skippedFirst"], nlohmann::json::parse(R"({"more text than a message has": 6,
                                                               "no date": 12000008})"));
}

TEST_F(ImportLimits, AMessageToVeryManyTakesLittleMemory) {
  // AddressSanitizer puts more around a small block than is in it.
#ifdef TEST_OF_INSTRUMENTED
  constexpr int MANY = 20000;
#else
  constexpr int MANY = 100000;
#endif
  const std::string path = folder() + "/many.xml";
  std::ofstream out(path);
  out << "<smses>\n<mms address=\"+14155550111\" date=\"1\" msg_box=\"1\"><addrs>\n";
  for (int i = 0; i < MANY; ++i) {
    out << "<addr address=\"+1415" << 2000000 + i << "\" type=\"151\"/>\n";
  }
  out << "</addrs></mms></smses>\n";
  out.close();
  const ProcessResult result = runWithLittleMemory({"import", path, "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out)["stored"], 1);
  EXPECT_EQ(rows("SELECT count(*) FROM msg_address_table;"), std::to_string(MANY + 1) + "\n");
}

TEST_F(ImportLimits, WhatALongTextIsCutFromIsNotImported) {
  const std::string most(std::size_t{4} << 20, 'x');
  const auto summary =
      import(sms({{"body", most}}) + sms({{"body", most + std::string(100, 'x')}}) +
             mms({}, text_part(most) + text_part(most), ""));
  EXPECT_EQ(summary["stored"], 1);
  EXPECT_EQ(summary["skippedBecause"],
            nlohmann::json::parse(R"({"more text than a message has": 2})"));
  EXPECT_EQ(rows("SELECT length(textMessage) FROM msg_message_table;"),
            std::to_string(most.size()) + "\n");
}

TEST_F(ImportLimits, PartsAndAddressesWithoutEndAreNotImported) {
  std::string parts;
  for (int i = 0; i < 300000; ++i) parts += "<part/>";
  EXPECT_EQ(import(mms({}, data_part("image/png", "QUJD") + parts, ""))["stored"], 0);
  EXPECT_EQ(mediaFiles(), std::vector<std::string>{});
}

TEST_F(ImportLimits, MuchThatIsAlikeIsImportedSoon) {
  std::string senders;
  for (int i = 0; i < 1500; ++i) {
    senders += sms({{"address", "Sender_" + std::to_string(i)}, {"date", std::to_string(i)}});
    senders +=
        sms({{"address", "+1415" + std::to_string(2000000 + i)}, {"date", std::to_string(i)}});
  }
  EXPECT_EQ(importSoon(senders)["conversationsCreated"], 3000);

  // All of them end in the digits that a device compares.
  std::string list;
  for (int i = 100000; i < 150000; ++i) list += std::to_string(i) + "055550111~";
  EXPECT_EQ(importSoon(mms({{"address", list}}, text_part("to all"), ""))["stored"], 1);
  EXPECT_EQ(rows("SELECT count(*) FROM msg_address_table;"), "53000\n");
}

}  // namespace
}  // namespace msg_tarvel
