// The signs that tag classes look for.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Unicode.h"
#include "reference/plain_tags.h"
#include "reference/random_text.h"
#include "sifterra/text/WFSlangTag.h"
#include "sifterra/text/WFTagFactory.h"
#include "sifterra/text/WFUSC2257Tag.h"
#include "sifterra/text/WFWebPageDecorator.h"
#include "text/FakePage.h"
#include "util/string_helpers.h"

namespace sifterra {
namespace {

using platform::String;

struct Row {
  std::u16string content;
  std::u16string tags;
};

const std::u16string kSlang = u"\n[ SixtyNineWebFilterTag  ]";
const std::u16string kEighteen = u"[ EighteenWebFilterTag  ]";

std::u16string tagsOf(const std::u16string& content) {
  return std::u16string(WFTagFactory::tagsForWebpage(WFWebPageDecorator(fakePage(content))).view());
}

TEST(Tags, AreGivenForWholeWordsOnly) {
  const std::vector<Row> rows = {
      {u"an ordinary page", u""},
      {u"", u""},
      {u"call 69 now", kSlang},  // begins with a line feed, though nothing stands before it
      {u"1969", u""},
      {u"690", u""},
      {u"69.", kSlang},
      {u"69!", kSlang},
      {u"Sixty Nine", kSlang},
      {u"SIXTY-NINE", kSlang},
      {u"sixty  nine", u""},
      {u"sixty nines", u""},
      {u"18+", kEighteen},
      {u"age 18.", kEighteen},
      {u"180", u""},
      {u"(18)", u""},  // brackets are not ignorable
      {u"2257", u"[ TwoTwoFiveSevenWebFilterTag  ]"},
      {u"2257 18", u"[ TwoTwoFiveSevenWebFilterTag EighteenWebFilterTag  ]"},
      {u"18 U.S.C. 2257",
       u"[ TwoTwoFiveSevenWebFilterTag UnitedStatesCodeWebFilterTag EighteenWebFilterTag  ]"},
      {u"USC 2257 18", u"[ TwoTwoFiveSevenWebFilterTag UnitedStatesCodeWebFilterTag EighteenWebFilterTag  ]"},
      {u"usc", u"[ UnitedStatesCodeWebFilterTag  ]"},
      {u"u.s.c", u"[ UnitedStatesCodeWebFilterTag  ]"},
      {u"U.S.C U.S.C", u"[ UnitedStatesCodeWebFilterTag  ]"},
      {u"USCs", u""},
      {u"18 69", kEighteen + kSlang},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.content));
    EXPECT_EQ(tagsOf(row.content), row.tags);
    EXPECT_EQ(reference::tagsOf(row.content), row.tags);
  }
}

TEST(Tags, AreNotNullWithoutAPage) {
  const String tags = WFTagFactory::tagsForWebpage(WFWebPageDecorator(platform::Data()));
  EXPECT_FALSE(tags.isNull());
  EXPECT_EQ(tags.length(), 0U);
}

TEST(TagWords, AreTheirClassesOwn) {
  EXPECT_EQ(WFSlangTag().sixtyNineTag(), String(u"SixtyNineWebFilterTag"));
  EXPECT_EQ(WFUSC2257Tag().twoTwoFiveSevenTag(), String(u"TwoTwoFiveSevenWebFilterTag"));
  EXPECT_EQ(WFUSC2257Tag().unitedStatesCodeTag(), String(u"UnitedStatesCodeWebFilterTag"));
  EXPECT_EQ(WFUSC2257Tag().eighteenTag(), String(u"EighteenWebFilterTag"));
}

class OtherSlangTag : public WFSlangTag {
 public:
  [[nodiscard]] String sixtyNineTag() const override { return String(u"Other"); }
};

TEST(TagWords, CanBeChangedByADerivedClass) {
  EXPECT_EQ(OtherSlangTag().tagWithWebpage(WFWebPageDecorator(fakePage(u"69"))), String(u"Other "));
}

TEST(TagClasses, AnswerNullWithoutASign) {
  const WFWebPageDecorator page(fakePage(u"nothing"));
  EXPECT_TRUE(WFSlangTag().tagWithWebpage(page).isNull());
  EXPECT_TRUE(WFUSC2257Tag().tagWithWebpage(page).isNull());
  EXPECT_TRUE(WFTagFlyweight().tagWithWebpage(page).isNull());
}

// The slang tag does not lower-case the page. What that relies on, for every character there is:
// lower-casing keeps one character one character, its folding and whether it may stand beside a word.
// U+0130 alone becomes two, neither of which is ignorable, as it is not itself.
TEST(SlangTag, NeedsNoLowerCasing) {
  for (char32_t c = 0; c <= 0x10ffff; ++c) {
    if (c >= 0xd800 && c < 0xe000) continue;
    std::u16string text;
    if (c < 0x10000) {
      text.push_back(static_cast<char16_t>(c));
    } else {
      text.push_back(static_cast<char16_t>(0xd7c0 + (c >> 10)));
      text.push_back(static_cast<char16_t>(0xdc00 + (c & 0x3ff)));
    }
    const std::u32string lower = reference::characters(platform::lowercased(text));
    if (c == 0x0130) {
      EXPECT_EQ(lower, U"i\u0307");
      EXPECT_FALSE(ignorableCharacterSet().contains(c));
      EXPECT_FALSE(ignorableCharacterSet().contains(U'\u0307'));
      continue;
    }
    ASSERT_EQ(lower.size(), 1U) << std::hex << static_cast<std::uint32_t>(c);
    ASSERT_EQ(platform::simpleFold(lower[0]), platform::simpleFold(c))
        << std::hex << static_cast<std::uint32_t>(c);
    ASSERT_EQ(ignorableCharacterSet().contains(lower[0]), ignorableCharacterSet().contains(c))
        << std::hex << static_cast<std::uint32_t>(c);
    ASSERT_EQ(lower[0] > 0xffff, c > 0xffff) << std::hex << static_cast<std::uint32_t>(c);
  }
}

TEST(Tags, AgreeWithThePlainOnesOnRandomTexts) {
  const std::vector<std::u16string> pieces = {u"69",
                                              u"sixty",
                                              u"SIXTY",
                                              u"nine",
                                              u"NINE",
                                              u" ",
                                              u"-",
                                              u".",
                                              u"18",
                                              u"2257",
                                              u"USC",
                                              u"U.S.C",
                                              u"u",
                                              u"\u017f",
                                              u"\u0130",
                                              u"\u03a3",
                                              u"\u24b6",
                                              u"\U00010400",
                                              u"\U0001f600",
                                              u"(",
                                              u"x",
                                              u"S",
                                              u"\u212a",
                                              std::u16string(1, char16_t{0xd801}),
                                              std::u16string(1, char16_t{0xdc00})};
  reference::RandomText random(7);
  for (int round = 0; round < 20000; ++round) {
    const std::u16string content = random.of(pieces, 14);
    ASSERT_EQ(tagsOf(content), reference::tagsOf(content)) << platform::utf8FromUTF16(content);
  }
}

}  // namespace
}  // namespace sifterra
