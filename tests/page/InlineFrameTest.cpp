// A page within the page: what an iframe's srcdoc says is judged with what surrounds it.
#include "page/align_markup.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "platform/Unicode.h"

namespace sifterra {
namespace {

TEST(InlineFrame, ShowsItsWords) {
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"<iframe srcdoc='<p class=x>one</p>two'></iframe>",
       u"<iframe srcdoc='<p class=x>one</p>two'>  one two </iframe>"},
      {u"<IFRAME SRCDOC=one>", u"<IFRAME SRCDOC=one> one "},
      {u"<iframe srcdoc=\"&lt;b&gt;&#60;i&#62;w&amp;shy;ord&quot;\">",
       u"<iframe srcdoc=\"&lt;b&gt;&#60;i&#62;w&amp;shy;ord&quot;\">   w&shy;ord\" "},
      {u"<iframe srcdoc='</iframe><!--'>x</iframe>", u"<iframe srcdoc='</iframe><!--'>   !-- x</iframe>"},
      {u"<iframe srcdoc='a < b > c<d'>", u"<iframe srcdoc='a < b > c<d'> a   b   c  "},
      {u"<iframe srcdoc='<iframe srcdoc=\"one\">'>",
       u"<iframe srcdoc='<iframe srcdoc=\"one\">'>  iframe srcdoc=\"one\"  "},
      {u"<iframe srcdoc=one srcdoc=two>", u"<iframe srcdoc=one srcdoc=two> one "},
      {u"<iframe a@='>' srcdoc=one>", u"<iframe> one "},
      {u"<iframe srcdoc>", u"<iframe srcdoc>"},
      {u"<iframe src=one xsrcdoc=two>", u"<iframe src=one xsrcdoc=two>"},
      {u"<img srcdoc=one>", u"<img srcdoc=one>"},
      {u"<!-- <iframe srcdoc=one> -->", u"<!-- <iframe srcdoc=one> -->"},
      {u"<iframe srcdoc=one", u"<iframe srcdoc=one"},
  };
  for (const auto& [page, aligned] : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(alignedMarkup(std::u16string(page)), aligned);
  }
}

}  // namespace
}  // namespace sifterra
