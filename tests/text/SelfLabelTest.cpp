// Pages that declare themselves adult-only.
#include "text/self_label.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>
#include <vector>

#include "platform/Unicode.h"
#include "reference/plain_self_label.h"
#include "reference/random_text.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::String;
using Levels = std::map<std::u16string, std::int32_t>;

bool selfRestricted(const char16_t* html) {
  return WFWebPageToFilterText::webPageWithString(String(html))->selfRestricted();
}

struct PageRow {
  const char16_t* html;
  bool restricted;
};

TEST(SelfRestricted, ReadsTheRatingLabelAsAWhole) {
  const PageRow rows[] = {
      {u"<meta name=rating content='RTA-5042-1996-1400-1577-RTA'>", true},
      {u"<meta name=rating content='rta-5042-1996-1400-1577-rta'>", true},
      {u"<meta name=RATING content='RTA-5042-1996-1400-1577-RTA'>", true},
      {u"<meta http-equiv=rating content='RTA-5042-1996-1400-1577-RTA'>", true},
      {u"<meta name=rating content='RTA-5042-1996-1400-1577-RTA extra'>", false},
      {u"<meta name=rating content=' RTA-5042-1996-1400-1577-RTA'>", false},
      {u"<meta name=rating content=adult>", false},
      {u"<meta name=rating content=general><meta name=rating content='RTA-5042-1996-1400-1577-RTA'>", false},
      {u"<meta content='RTA-5042-1996-1400-1577-RTA'>", false},  // a label without a key
      {u"<p>RTA-5042-1996-1400-1577-RTA", false},
      {u"", false},
  };
  for (const PageRow& row : rows) {
    SCOPED_TRACE(String(row.html).toUTF8());
    EXPECT_EQ(selfRestricted(row.html), row.restricted);
  }
}

TEST(SelfRestricted, ReadsSafeSurfLevelsOfUnlabelledMetaTags) {
  const PageRow rows[] = {
      {u"<meta content='SS~~000 5'>", true},
      {u"<meta content='SS~~000 4'>", false},
      {u"<meta content='SS~~001 5'>", false},
      {u"<meta content='SS~~001 6'>", true},
      {u"<meta content='SS~~006 9'>", false},  // not consulted
      {u"<meta content='SS~~007 5'>", true},
      {u"<meta content='SS~~007 4'>", false},
      {u"<meta content='SS~~00A 6'>", true},
      {u"<meta content='SS~~00A 5'>", false},
      {u"<meta content='SS~~00a 6'>", false},  // codes keep their case
      {u"<meta content='ss~~000 5'>", true},   // the mark does not
      {u"<meta content='SS~~00B 9'>", false},
      {u"<meta content='x'><meta content='label SS~~000 5'>", true},
      {u"<meta content='SS~~001 1'><meta content='SS~~000 9'>", false},  // only the first label is read
      {u"<meta name=x content='SS~~000 9'>", false},
      {u"<meta http-equiv=PICS-Label content='SS~~000 9'>", false},
  };
  for (const PageRow& row : rows) {
    SCOPED_TRACE(String(row.html).toUTF8());
    EXPECT_EQ(selfRestricted(row.html), row.restricted);
  }
}

TEST(SelfRestricted, IsFalseWithoutAPage) {
  EXPECT_FALSE(WFWebPageToFilterText(platform::Data()).selfRestricted());
}

TEST(SafeSurfLimits, MustBeExceededByTheLevelOfTheirCode) {
  const std::map<std::u16string, std::int32_t> limits = {{u"000", 4}, {u"001", 5}, {u"002", 5}, {u"003", 5},
                                                         {u"004", 5}, {u"005", 5}, {u"007", 4}, {u"008", 5},
                                                         {u"009", 5}, {u"00A", 5}};
  for (const auto& [code, limit] : limits) {
    SCOPED_TRACE(platform::utf8FromUTF16(code));
    EXPECT_FALSE(safeSurfRestricts({{code, limit}}));
    EXPECT_TRUE(safeSurfRestricts({{code, limit + 1}}));
    EXPECT_FALSE(safeSurfRestricts({{code, -1}}));
  }
  EXPECT_FALSE(safeSurfRestricts({}));
  for (const char16_t* code : {u"006", u"00B", u"00a", u"0", u""}) {
    EXPECT_FALSE(safeSurfRestricts({{code, std::numeric_limits<std::int32_t>::max()}}));
  }
}

Levels levelsOf(const std::u16string& text) {
  Levels levels;
  for (const auto& [code, level] : safeSurfLevels(text)) levels[std::u16string(code)] = level;
  return levels;
}

struct LabelRow {
  std::u16string text;
  Levels levels;
};

TEST(SafeSurfLevels, ReadsCodesAndLevels) {
  const std::int32_t most = std::numeric_limits<std::int32_t>::max();
  const std::int32_t least = std::numeric_limits<std::int32_t>::min();
  const std::vector<LabelRow> rows = {
      {u"SS~~000 5", {{u"000", 5}}},
      {u"(PICS-1.1 \"x\" r (SS~~000 1))", {{u"000", 1}}},
      {u"SS~~000 1 SS~~001 2", {{u"000", 1}, {u"001", 2}}},
      {u"SS~~000 1SS~~001 2", {{u"000", 1}, {u"001", 2}}},
      {u"SS~~000 1 SS~~000 2", {{u"000", 2}}},  // the later one stands
      {u"SS~~ 000 5", {{u"000", 5}}},           // space before each item is skipped
      {u" \n\u00a0SS~~\t\u2003000 \n 5", {{u"000", 5}}},
      {u"SS~~000\t5 6", {{u"000\t5", 6}}},      // only U+0020 ends a code
      {u"SS~~000\n5", {}},                      // so this is all code, without a level
      {u"SS~~SS~~000 5", {{u"000", 5}}},        // two marks at the start are both skipped
      {u"x SS~~SS~~000 5", {{u"SS~~000", 5}}},  // later the second belongs to the code
      {u"SS~~SS~~SS~~000 5", {{u"SS~~000", 5}}},
      {u"SS~~000", {}},
      {u"SS~~000 x SS~~001 5", {}},  // no level: the reading stops
      {u"SS~~000 1 SS~~", {{u"000", 1}}},
      {u"SS~~000 1 SS~~001", {{u"000", 1}}},
      {u"SS~~000 +7", {{u"000", 7}}},
      {u"SS~~000 -7", {{u"000", -7}}},
      {u"SS~~000 - 7", {}},  // a sign stands directly before the digits
      {u"SS~~000 +-7", {}},
      {u"SS~~000 7.9", {{u"000", 7}}},
      {u"SS~~000 0x9", {{u"000", 0}}},
      {u"SS~~000 2147483647", {{u"000", most}}},
      {u"SS~~000 2147483648", {{u"000", most}}},  // levels stop at 32 bits
      {u"SS~~000 -2147483648", {{u"000", least}}},
      {u"SS~~000 -99999999999999999999999", {{u"000", least}}},
      {u"SS~~000 99999999999999999999999", {{u"000", most}}},
      {u"SS~~000 \u0665", {}},  // ASCII digits only
      {u"S S~~000 5", {}},
      {u"SS~ ~000 5", {}},
      {u"sS~~000 5", {{u"000", 5}}},
      {u"\u017fS~~000 5", {{u"000", 5}}},  // the long s is an s in another case
      {u"", {}},
      {u"SS~~", {}},
      {u"SS~~ ", {}},
      {u"no label 5", {}},
  };
  for (const LabelRow& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text));
    EXPECT_EQ(levelsOf(row.text), row.levels);
    EXPECT_EQ(reference::PlainLabelReader(row.text).levels(), row.levels);
  }
}

TEST(SafeSurfLevels, AgreesWithThePlainReaderOnRandomLabels) {
  const std::vector<std::u16string> pieces = {u"SS~~", u"ss~~", u"S",  u"~", u" ", u"\t",     u"000",
                                              u"00A",  u"5",    u"99", u"-", u"+", u"\u00a0", u"x"};
  reference::RandomText random(6);
  for (int round = 0; round < 20000; ++round) {
    const std::u16string text = random.of(pieces, 16);
    ASSERT_EQ(levelsOf(text), reference::PlainLabelReader(text).levels()) << platform::utf8FromUTF16(text);
  }
}

}  // namespace
}  // namespace sifterra
