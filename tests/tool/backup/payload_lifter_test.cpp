#include "backup/payload_lifter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace msg_tarvel::tool {
namespace {

class Payloads : public PayloadSink {
 public:
  void beginPayload(long number) override { texts.push_back(std::to_string(number) + ":"); }
  void payloadText(const char* text, std::size_t size) override { texts.back().append(text, size); }
  void endPayload() override { texts.back() += "|"; }

  std::vector<std::string> texts;
};

struct Lifted {
  std::string parserText;
  std::vector<std::string> payloads;
};

Lifted lifted(const std::string& in, std::size_t cut) {
  Payloads payloads;
  PayloadLifter lifter(payloads);
  std::string out;
  lifter.lift(in.data(), cut, out);
  lifter.lift(in.data() + cut, in.size() - cut, out);
  return {out, payloads.texts};
}

struct LiftingCase {
  std::string in;
  std::string out;
  std::vector<std::string> payloads;
};

const LiftingCase LIFTING_CASES[] = {
    {R"(<part data="QUJD" ct="a"/>)", R"(<part data="1." ct="a"/>)", {"1:QUJD|"}},
    {R"(<part ct='x' data = 'QUJD'></part>)", R"(<part ct='x' data = '1.'></part>)", {"1:QUJD|"}},
    {"<part\n data=\"a\"/><part data=\"b\"/>",
     "<part\n data=\"1.\"/><part data=\"2.\"/>",
     {"1:a|", "2:b|"}},
    {R"(<part data=""/>)", R"(<part data="1."/>)", {"1:|"}},
    // Line ends stay, so that the parser counts lines; references of them go.
    {"<part data=\"a\nb&#10;c&#xA;d\"/>", "<part data=\"1.\n\"/>", {"1:a\nbcd|"}},
    // What the parser must judge reaches it.
    {R"(<part data="a&foo;b<c"/>)", R"(<part data="1.&foo;<"/>)", {"1:a&foo;b<c|"}},
    {R"(<part data="a&"/>)", R"(<part data="1.&"/>)", {"1:a&|"}},
    {"<part data=\"a\x01\xC3\xA9*\"/>", "<part data=\"1.\x01\xC3\xA9\"/>", {"1:a\x01\xC3\xA9*|"}},
    // Not a part's data.
    {R"(<parts data="QUJD"/>)", R"(<parts data="QUJD"/>)", {}},
    {R"(<part dat="Q" xdata="R" text=" data='S'"/>)",
     R"(<part dat="Q" xdata="R" text=" data='S'"/>)",
     {}},
    {R"(<sms body="&lt;part data='Q'> <part"/>)", R"(<sms body="&lt;part data='Q'> <part"/>)", {}},
    {R"(<!-- <part data="Q"/> - --><part data="R"/>)",
     R"(<!-- <part data="Q"/> - --><part data="1."/>)",
     {"1:R|"}},
    {R"(<![CDATA[<part data="Q"/>]]]><part data="R"/>)",
     R"(<![CDATA[<part data="Q"/>]]]><part data="1."/>)",
     {"1:R|"}},
    {R"(<?x <part data="Q"/> ??><part data="R"/>)",
     R"(<?x <part data="Q"/> ??><part data="1."/>)",
     {"1:R|"}},
    {R"(text data="Q" <part>data="R"</part>)", R"(text data="Q" <part>data="R"</part>)", {}},
    // Nor one whose name only begins so, however long.
    {R"(<part-with-a-very-long-name data="Q"/><part data-with-a-long-name="Q" data="R"/>)",
     R"(<part-with-a-very-long-name data="Q"/><part data-with-a-long-name="Q" data="1."/>)",
     {"1:R|"}},
    {R"(<data part="Q"/><part><sms data="Q"/></part>)",
     R"(<data part="Q"/><part><sms data="Q"/></part>)",
     {}},
    // Cut short.
    {R"(<part data="QUJ)", R"(<part data="1.)", {"1:QUJ"}},
};

TEST(PayloadLifter, LiftsDataOutWhereverThePieceEnds) {
  for (const LiftingCase& one : LIFTING_CASES) {
    for (std::size_t cut = 0; cut <= one.in.size(); ++cut) {
      const Lifted result = lifted(one.in, cut);
      EXPECT_EQ(result.parserText, one.out) << one.in << " cut at " << cut;
      EXPECT_EQ(result.payloads, one.payloads) << one.in << " cut at " << cut;
    }
  }
}

TEST(PayloadLifter, FindsWhatIsSpecialAnywhereInALongPayload) {
  const std::string plain(700, 'Q');
  for (std::size_t at = 0; at <= plain.size(); ++at) {
    const auto data = [&](const std::string& special) {
      return "<part data='" + plain.substr(0, at) + special + plain.substr(at) + "'/>";
    };
    const Lifted newline = lifted(data("\n"), 0);
    EXPECT_EQ(newline.parserText, "<part data='1.\n'/>") << at;
    EXPECT_EQ(newline.payloads.front().size(), plain.size() + 4) << at;
    EXPECT_EQ(lifted(data("&foo;"), 0).parserText, "<part data='1.&foo;'/>") << at;
    EXPECT_EQ(lifted(data("&#10;"), 0).parserText, "<part data='1.'/>") << at;
    EXPECT_EQ(lifted(data("\xC3\xA9"), 0).parserText, "<part data='1.\xC3\xA9'/>") << at;
    const std::string rest = plain.substr(at) + "'/>";
    EXPECT_EQ(lifted(data("' x='"), 0).parserText, "<part data='1.' x='" + rest) << at;
  }
}

TEST(PayloadLifter, RefusesElementsWithTooManyAttributes) {
  const auto attributes = [](int count) {
    std::string text = "<sms";
    for (int i = 0; i < count; ++i) text += " a" + std::to_string(i) + "=''";
    return text + "/>";
  };
  EXPECT_NO_THROW(lifted(attributes(1000) + attributes(1000), 0));
  const std::string tooMany = "<smses>\n\n" + attributes(1001);
  for (const std::size_t cut : {std::size_t{0}, std::size_t{9}, tooMany.size() - 3}) {
    try {
      lifted(tooMany, cut);
      ADD_FAILURE() << "nothing thrown";
    } catch (const TooManyAttributes& refusal) {
      EXPECT_EQ(refusal.line, 3);
    }
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
