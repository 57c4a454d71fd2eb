// Signature words and the training layout.
#include "sifterra/text/WFWebPageToTrainingText.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "sifterra/page/WFPostprocessor.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::String;

std::u16string times(int count, const std::u16string& line) {
  std::u16string text;
  for (int i = 0; i < count; ++i) text += line;
  return text;
}

TEST(Signatures, AreTheNineWords) {
  const char16_t* const words[] = {
      u"ooooooooooooCategory1oooooooooooo", u"ooooooooooooCategory2oooooooooooo",
      u"ooooooooooooCategory3oooooooooooo", u"ooooooooooooCategory4oooooooooooo",
      u"ooooooooooooCategory5oooooooooooo", u"ooooooooooooCategory6oooooooooooo",
      u"ooooooooooooCategory7oooooooooooo", u"ooooooooooooCategory8oooooooooooo",
      u"ooooooooooooCategory9oooooooooooo",
  };
  for (std::int64_t category = 1; category <= 9; ++category) {
    EXPECT_EQ(WFWebPageToTrainingText::signatureForCategory(category), String(words[category - 1]));
  }
  EXPECT_EQ(WFWebPageToTrainingText::documentSignature(),
            String(u"ooooooooooooWFWebPageToTrainingTextoooooooooooo"));
}

TEST(Signatures, AreNullForNumbersOutside1To9) {
  for (const std::int64_t category :
       {std::int64_t{0}, std::int64_t{10}, std::int64_t{-1}, std::int64_t{0x100000001},
        std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_TRUE(WFWebPageToTrainingText::signatureForCategory(category).isNull()) << category;
  }
}

TEST(Signatures, OfCategoryOneIsTheExportedVariable) {
  const WFStringRef initial = WFWebPageToTrainingText_Category1;
  EXPECT_STREQ(WFStringGetUTF8(initial), "ooooooooooooCategory1oooooooooooo");
  const WFStringRef other = WFStringCreateWithUTF8("other");
  WFWebPageToTrainingText_Category1 = other;
  EXPECT_EQ(WFWebPageToTrainingText::signatureForCategory(1), String(u"other"));
  WFWebPageToTrainingText_Category1 = nullptr;
  EXPECT_TRUE(WFWebPageToTrainingText::signatureForCategory(1).isNull());
  WFWebPageToTrainingText_Category1 = initial;
  WFRelease(other);
  WFRelease(initial);  // an immortal object does not go away
  EXPECT_EQ(WFWebPageToTrainingText::signatureForCategory(1), String(u"ooooooooooooCategory1oooooooooooo"));
}

TEST(TrainingText, HasAPlaceForTheCategorySignature) {
  WFWebPageToTrainingText page(fakePage(u""));
  EXPECT_TRUE(page.categorySignature().isNull());
  EXPECT_EQ(page.rawPlainText().find(u"ooooooooooooWFWebPageToTrainingTextoooooooooooo\n\n\n========="), 0U);
  page.setCategorySignature(WFWebPageToTrainingText::signatureForCategory(2));
  EXPECT_EQ(page.categorySignature(), String(u"ooooooooooooCategory2oooooooooooo"));
  EXPECT_EQ(page.rawPlainText().find(u"ooooooooooooWFWebPageToTrainingTextoooooooooooo\n"
                                     u"ooooooooooooCategory2oooooooooooo\n\n========="),
            0U);
  page.setCategorySignature(nullptr);
  EXPECT_TRUE(page.categorySignature().isNull());
}

TEST(TrainingText, RepeatsSectionsByTheirWeights) {
  const auto page = WFWebPageToTrainingText::webPageWithString(
      String(u"<title>Foo</title><meta name=description content=D><meta name=keywords content=K>"
             u"<img alt=A><a title=L>69</a><script>'S'</script>"));
  EXPECT_EQ(page->rawPlainText(),
            u"ooooooooooooWFWebPageToTrainingTextoooooooooooo\n\n\n"
            u"=========\n" +
                times(15, u"Foo\n") + u"=========\n" + times(5, u"\n[ SixtyNineWebFilterTag  ]\n") +
                u"=========\n" + times(10, u"D\n") + u"=========\n" + times(10, u"K\n") +
                u"=========\nA\n\n=========\nL\n\n=========\n" + std::u16string(page->pageContent().view()) +
                u"\n");
}

TEST(TrainingText, IsPostprocessedLikeAnyOther) {
  auto model = fakePage(u"a-b <i>c</i>");
  const WFWebPageToTrainingText page(model);
  EXPECT_EQ(page.plainText(), WFPostprocessor::postprocessPlainTextWebPage(String(page.rawPlainText())));
  EXPECT_NE(page.plainText().view().find(u"a b  c \n"), std::u16string_view::npos);
}

}  // namespace
}  // namespace sifterra
