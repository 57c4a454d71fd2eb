// Attributes that the parser would lose in a malformed tag, and browsers read.
#include "page/align_markup.h"

#include <gtest/gtest.h>

#include <string>

#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/page/decodePage.h"

namespace sifterra {
namespace {

using platform::Data;
using platform::String;

std::shared_ptr<WFTreeHTMLStripper> modelOfBytes(const std::string& bytes) {
  return WFTreeHTMLStripper::treeStripperWithString(decodePage(Data(bytes), nullptr));
}

TEST(TagAsBrowsersRead, HasTheAttributesThatBrowsersSee) {
  for (const char* tag : {"<a/title=w>", "<a x='y'/title=w>", "<a /x=/title=w title=w>", "<a @b=c title=w>",
                          "<a =title=x title=w>", "<a x=y/ title=w>", "<a title\t=\n'w' title=x>"}) {
    SCOPED_TRACE(tag);
    const auto page = modelOfBytes(tag);
    ASSERT_EQ(page->links().size(), 1U);
    EXPECT_EQ(page->links()[0].title(), String(u"w"));
  }
  EXPECT_EQ(modelOfBytes("<img/alt=w>")->images()[0].alt(), String(u"w"));
  EXPECT_EQ(modelOfBytes("<meta/name=keywords\rcontent=w>")->metaTagKeywords(), String(u"w"));
  for (const std::u16string page :
       {u"<a/b=c>", u"<a title=x/>", u"<img alt='x'title='y' />", u"<a @b=c title=x>", u"<p/title=x>"})
    EXPECT_EQ(alignedMarkup(page), page);
}

}  // namespace
}  // namespace sifterra
