// The filter text: markers, order, weights, and its clean form.
#include "sifterra/text/WFWebPageToFilterText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/CHandles.h"
#include "reference/plain_layout.h"
#include "reference/random_text.h"
#include "sifterra/page/WFPostprocessor.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::String;

constexpr const char16_t* kMarkers[] = {
    u"ooooooooooooWFWebPageToFilterTextoooooooooooo", u"oooAooLEGITTIMATEooWORDooFORooADVERTISINGoooo",
    u"ooooooooooooooooooooTITLEoooooooooooooooooooo", u"oooooooooooooooooooooTAGSoooooooooooooooooooo",
    u"oooooooooooooooooDESCRIPTIONooooooooooooooooo", u"oooooooooooooooooooKEYWORDSoooooooooooooooooo",
    u"oooooooooooooooooooIMAGEALTSooooooooooooooooo", u"oooooooooooooooooooLINKTITLESoooooooooooooooo",
    u"oooooooooooooooooooPAGECONTENTooooooooooooooo",
};

std::u16string times(int count, const std::u16string& line) {
  std::u16string text;
  for (int i = 0; i < count; ++i) text += line;
  return text;
}

TEST(FilterText, HasMarkersOf45CharactersInOrder) {
  const std::u16string text = WFWebPageToFilterText(fakePage(u"")).rawPlainText();
  std::size_t from = 0;
  for (const char16_t* marker : kMarkers) {
    SCOPED_TRACE(String(marker).toUTF8());
    EXPECT_EQ(std::u16string_view(marker).size(), 45U);
    const std::size_t at = text.find(marker, from);
    ASSERT_NE(at, std::u16string::npos);
    from = at + 45;
  }
}

TEST(FilterText, RepeatsSectionsByTheirWeights) {
  const auto page = WFWebPageToFilterText::webPageWithString(
      String(u"<title>T</title><meta name=description content=D><meta name=keywords content=K>"
             u"<img alt=A><a title=L>18</a><script>'S'</script>"));
  EXPECT_EQ(page->rawPlainText(),
            u"ooooooooooooWFWebPageToFilterTextoooooooooooo\n\n"
            u"oooAooLEGITTIMATEooWORDooFORooADVERTISINGoooo\n"
            u"ooooooooooooCategory1oooooooooooo\n"
            u"ooooooooooooooooooooTITLEoooooooooooooooooooo\n" +
                times(15, u"T\n") + u"oooooooooooooooooooooTAGSoooooooooooooooooooo\n" +
                times(5, u"[ EighteenWebFilterTag  ]\n") +
                u"oooooooooooooooooDESCRIPTIONooooooooooooooooo\n" + times(10, u"D\n") +
                u"oooooooooooooooooooKEYWORDSoooooooooooooooooo\n" + times(10, u"K\n") +
                u"oooooooooooooooooooIMAGEALTSooooooooooooooooo\nA\n\n"
                u"oooooooooooooooooooLINKTITLESoooooooooooooooo\nL\n\n"
                u"oooooooooooooooooooPAGECONTENTooooooooooooooo\n" +
                std::u16string(page->pageContent().view()) + u"\n");
}

TEST(FilterText, KeepsItsFormWithoutAPage) {
  const WFWebPageToFilterText page{platform::Data()};
  EXPECT_EQ(page.rawPlainText(), reference::filterText(page));
  EXPECT_EQ(page.plainText(), WFPostprocessor::postprocessPlainTextWebPage(String(page.rawPlainText())));
}

TEST(FilterText, CleansEachSectionLineByLine) {
  auto model = fakePage(u"a <b>bold</b> word-pair_x\nx\n<unclosed\nend>");
  model->title = String(u"<i>T</i>-1");
  const std::u16string text(WFWebPageToFilterText(model).plainText().view());
  EXPECT_NE(text.find(u"TITLEoooooooooooooooooooo\n" + times(15, u" T  1\n") + u"ooo"), std::u16string::npos);
  EXPECT_NE(text.find(u"ooooPAGECONTENTooooooooooooooo\na  bold  word pair x\n\n unclosed\nend \n\n"),
            std::u16string::npos);
}

TEST(FilterText, IsThePostprocessedLayoutForAnyTexts) {
  const std::vector<std::u16string> pieces = {u"a",  u"b ", u"<", u">",    u"<b>", u"\n",  u"\n\n",
                                              u"-_", u"xy", u" ", u"2257", u"69",  u"18 ", u"\u00e9"};
  reference::RandomText random(5);
  const auto maybe = [&] { return random.below(4) == 0 ? String() : String(random.of(pieces, 10)); };
  for (int round = 0; round < 2000; ++round) {
    auto model = fakePage(random.of(pieces, 30));
    model->title = maybe();
    model->description = maybe();
    model->keywords = maybe();
    if (random.below(10) == 0) model->content = nullptr;
    const WFWebPageToFilterText page(model);
    const std::u16string raw = page.rawPlainText();
    ASSERT_EQ(raw, reference::filterText(page));
    ASSERT_EQ(page.plainText(), WFPostprocessor::postprocessPlainTextWebPage(String(raw)));
  }
}

// Puts another word in the place of category one's, and the old one back.
class ReplacedCategoryOne {
 public:
  explicit ReplacedCategoryOne(WFStringRef word) { WFWebPageToTrainingText_Category1 = word; }
  ~ReplacedCategoryOne() { WFWebPageToTrainingText_Category1 = old_; }

 private:
  WFStringRef old_ = WFWebPageToTrainingText_Category1;
};

TEST(FilterText, ReadsTheCategoryOneWordAtTheTimeOfTheCall) {
  const WFWebPageToFilterText page(fakePage(u""));
  const WFStringRef word = WFStringCreateWithUTF8("another-<b>one");
  {
    const ReplacedCategoryOne replaced(word);
    EXPECT_NE(page.rawPlainText().find(u"ADVERTISINGoooo\nanother-<b>one\nooo"), std::u16string::npos);
    EXPECT_NE(page.plainText().view().find(u"ADVERTISINGoooo\nanother  one\nooo"), std::u16string_view::npos);
  }
  {
    const ReplacedCategoryOne replaced(nullptr);
    EXPECT_NE(page.rawPlainText().find(u"ADVERTISINGoooo\n(null)\nooo"), std::u16string::npos);
  }
  WFRelease(word);
  EXPECT_NE(page.rawPlainText().find(u"ADVERTISINGoooo\nooooooooooooCategory1oooooooooooo\nooo"),
            std::u16string::npos);
}

TEST(FilterText, TakesALongTitleFifteenTimes) {
  auto model = fakePage(u"");
  model->title = String(std::u16string(100000, u't'));
  const WFWebPageToFilterText page(model);
  EXPECT_EQ(page.plainText().length(),
            WFWebPageToFilterText(fakePage(u"")).plainText().length() + 15 * 100000);
}

}  // namespace
}  // namespace sifterra
