#include "backup/character_references.h"

#include <gtest/gtest.h>

#include <string>

namespace msg_tarvel::tool {
namespace {

std::string rewritten(const std::string& first, const std::string& second = "") {
  CharacterReferences references;
  std::string out;
  references.rewrite(first.data(), first.size(), out);
  references.rewrite(second.data(), second.size(), out);
  references.finish(out);
  return out;
}

struct RewritingCase {
  const char* in;
  const char* out;
};

constexpr const char* LONG =
    "&#000000000000000000000000000000000000000000000000000000000000000065;";

const RewritingCase REWRITING_CASES[] = {
    {"plain & <text> \n", "plain & <text> \n"},
    {"a&#55357;&#56834;b", "a&#128514;b"},
    {"&#xD83D;&#xDE02;", "&#128514;"},
    {"&#xd83d;&#56834;", "&#128514;"},
    {"&#055357;&#56834;", "&#128514;"},
    {"&#55296;&#56320;", "&#65536;"},
    {"&#56319;&#57343;", "&#1114111;"},
    {"&#55357;&#56834;&#55357;&#56835;", "&#128514;&#128515;"},
    {"&#55357;", "&#65533;"},
    {"&#56834;", "&#65533;"},
    {"&#55357;x", "&#65533;x"},
    {"&#55357;&", "&#65533;&"},
    {"&#55357;&amp;", "&#65533;&amp;"},
    {"&#55357;&#10;", "&#65533;&#10;"},
    {"&#55357; &#56834;", "&#65533; &#65533;"},
    {"&#55357;&#55357;&#56834;", "&#65533;&#128514;"},
    {"&#56834;&#55357;", "&#65533;&#65533;"},
    {"&#0;&#1;&#x1F;&#xFFFE;&#65535;&#1114112;&#99999999999;",
     "&#65533;&#65533;&#65533;&#65533;&#65533;&#65533;&#65533;"},
    {"&#9;&#10;&#13;&#32;&#xA;&#x10FFFF;&#55295;&#57344;",
     "&#9;&#10;&#13;&#32;&#xA;&#x10FFFF;&#55295;&#57344;"},
    {"&amp;&lt;&foo;&#;&#x;&#xG;&#5a;&#X41;&", "&amp;&lt;&foo;&#;&#x;&#xG;&#5a;&#X41;&"},
    {"&&#55357;&#56834;", "&&#128514;"},
    {"&#&#55357;&#56834;", "&#&#128514;"},
    {LONG, LONG},
};

TEST(CharacterReferences, BecomeWhatXmlAllows) {
  for (const RewritingCase& one : REWRITING_CASES) EXPECT_EQ(rewritten(one.in), one.out) << one.in;
}

TEST(CharacterReferences, MayBeCutAnywhere) {
  for (const RewritingCase& one : REWRITING_CASES) {
    const std::string in = one.in;
    for (std::size_t cut = 0; cut <= in.size(); ++cut) {
      EXPECT_EQ(rewritten(in.substr(0, cut), in.substr(cut)), one.out) << in << " cut at " << cut;
    }
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
