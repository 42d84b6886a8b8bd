#include "backup/passage.h"

#include <gtest/gtest.h>

#include <string>

#include "backup/payload_lifter.h"

namespace msg_tarvel::tool {
namespace {

/** What passes of a text of which `most` bytes may, in pieces of `size`. */
std::string passed(const std::string& text, std::size_t most, std::size_t size) {
  Passage passage;
  passage.begin(most);
  std::string out;
  for (std::size_t at = 0; at < text.size(); at += size) {
    const std::string piece = text.substr(at, size);
    passage.pass(piece.data(), piece.data() + piece.size(), out);
  }
  return out;
}

TEST(Passage, LetsTheBeginningPass) {
  const std::string text = "one two three four";
  for (std::size_t size = 1; size <= text.size(); ++size) {
    EXPECT_EQ(passed(text, 100, size), text);
    EXPECT_EQ(passed(text, text.size(), size), text);
    EXPECT_EQ(passed(text, 5, size), "one two") << "up to the next blank";
    EXPECT_EQ(passed(text, 7, size), "one two");
    EXPECT_EQ(passed(text, 0, size), "one");
  }
}

TEST(Passage, CutsNeitherAReferenceNorACharacter) {
  const std::string rest(200, 'x');
  for (const std::size_t size : {1U, 7U, 1000U}) {
    EXPECT_EQ(passed("ab&#128514; more" + rest, 4, size), "ab&#128514;");
    std::string korean;
    for (int i = 0; i < 100; ++i) korean += "가";
    const std::string out = passed(korean, 4, size);
    EXPECT_EQ(out.size() % 3, 0U);
    EXPECT_LT(out.size(), 90U);
    const std::string ampersands = passed(rest + "&amp;" + rest + rest, 195, size);
    EXPECT_EQ(ampersands.substr(200, 5), "&amp;");
    EXPECT_LT(ampersands.size(), 300U);
  }
}

TEST(Passage, LetsTheFirstErrorPassAndCountsLines) {
  Passage passage;
  passage.begin(3);
  std::string out;
  const std::string text = "abc d\ne\n<f<\x01g\n";
  passage.pass(text.data(), text.data() + text.size(), out);
  EXPECT_EQ(out, "abc<");
  EXPECT_TRUE(passage.isCut());
  EXPECT_EQ(passage.takeDroppedLines(), 3);
  EXPECT_EQ(passage.takeDroppedLines(), 0);
  passage.begin(2);
  EXPECT_FALSE(passage.isCut());
}

class NoPayloadText : public PayloadSink {
 public:
  void beginPayload(long /*number*/) override {}
  void payloadText(const char* /*text*/, std::size_t /*size*/) override {}
  void endPayload() override {}
};

/** What a parser gets, in pieces of `size`; `line` becomes the file's. */
std::string seen(const std::string& text, std::size_t size, long& line) {
  NoPayloadText sink;
  PayloadLifter lifter(sink);
  std::string out;
  for (std::size_t at = 0; at < text.size(); at += size) {
    lifter.lift(text.data() + at, std::min(size, text.size() - at), out);
  }
  line = lifter.lineInFile(line);
  return out;
}

TEST(Passage, OfValuesAndCommentsEndsAsTheyDo) {
  const std::string lines(MOST_OF_THE_REST, '\n');
  for (const std::size_t size : {std::size_t{1000}, std::size_t{65536}, std::size_t{1000003}}) {
    long line = 65540;
    EXPECT_EQ(seen("<!--" + lines + "\n\n- -->\n<a x='" + lines + "\n'\ty=\"1\"/>\n", size, line),
              "<!--" + lines + " -->\n<a x='" + lines + "'\ty=\"1\"/>\n");
    EXPECT_EQ(line, 65542);
    line = 2 * 65536 + 3;
    const std::string body = "<sms body='" + std::string(MOST_TEXT, ' ') + "cut' date='1'/>";
    EXPECT_EQ(seen(body, size, line),
              "<sms body='" + std::string(MOST_TEXT, ' ') + "cut' date='1'/>")
        << "so little passes";
    const std::string longer = "<sms body='" + std::string(MOST_TEXT, ' ') + " cut' sub='" +
                               std::string(MOST_TEXT, ' ') + " cut'/><sms/>";
    EXPECT_EQ(seen(longer, size, line), "<sms body='" + std::string(MOST_TEXT, ' ') + "' " +
                                            CUT_MARK + "='' sub='" + std::string(MOST_TEXT, ' ') +
                                            "'/><sms/>");
  }
}

TEST(Passage, OfAnInstructionKeepsItsEnd) {
  std::string words;
  while (words.size() < MOST_OF_THE_REST) words += "word-?";
  for (const std::size_t size : {std::size_t{1}, std::size_t{65536}}) {
    long line = 1;
    const std::string out = seen("<?x " + words + words + "?><a/><!--" + words + words + "--><b/>" +
                                     "<![CDATA[" + words + words + "]]><c/>",
                                 size, line);
    EXPECT_NE(out.find("word-? ?><a/><!--word"), std::string::npos);
    EXPECT_NE(out.find(" --><b/><![CDATA[word"), std::string::npos);
    EXPECT_NE(out.find(" ]]><c/>"), std::string::npos);
    EXPECT_LT(out.size(), 3 * MOST_OF_THE_REST + 500);
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
