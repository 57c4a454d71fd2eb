// What images tell: texts, sizes, and how many do not tell their size.
#include "sifterra/text/WFImgArrayCache.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/Log.h"
#include "sifterra/page/WFTreeHTMLStripper.h"

namespace sifterra {
namespace {

using platform::String;

struct Row {
  const char16_t* html;
  const char16_t* texts;
  std::int64_t unknown;
  std::int64_t pixels;
};

std::shared_ptr<WFTreeHTMLStripper> parsed(const std::u16string& html) {
  return WFTreeHTMLStripper::treeStripperWithString(String(html));
}

TEST(WFImgArrayCache, GathersTextsAndSizes) {
  const Row rows[] = {
      {u"<p>none", u"", 0, 0},
      {u"<img width=10 height=20>", u"", 0, 200},
      {u"<img width=10>", u"", 1, 0},
      {u"<img height=10>", u"", 1, 0},
      {u"<img>", u"", 1, 0},
      {u"<img width=10 height=20><img width=3 height=4><img>", u"", 1, 212},
      {u"<img width=0 height=20>", u"", 0, 0},   // a size of nothing is known
      {u"<img width=-1 height=20>", u"", 1, 0},  // -1 is what "unknown" is spelled as
      {u"<img width=-2 height=20>", u"", 0, -40},
      {u"<img width=1 height=1 alt=x>", u"x\n", 0, 1},
      {u"<img alt=x title=x>", u"x\n", 1, 0},  // said once
      {u"<img alt=x title=y>", u"x\ny\n", 1, 0},
      {u"<img alt=x title=X>", u"x\nX\n", 1, 0},
      {u"<img alt='' title=y>", u"y\n", 1, 0},
      {u"<img alt='' title=''>", u"", 1, 0},
      {u"<img title=y>", u"y\n", 1, 0},
      {u"<img alt=a><img title=b><img alt=a>", u"a\nb\na\n", 3, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(String(row.html).toUTF8());
    const auto page = parsed(row.html);
    const auto cache = WFImgArrayCache::imgArrayCacheWithArray(page->images());
    EXPECT_EQ(cache.imageAlternativeDescriptions(), String(row.texts));
    EXPECT_EQ(WFImgArrayCache::alternativeDescriptionsOfArray(page->images()), String(row.texts));
    EXPECT_EQ(cache.numberOfUnknownSizedImages(), row.unknown);
    EXPECT_EQ(cache.numberOfKnownImagePixels(), row.pixels);
  }
}

TEST(WFImgArrayCache, WrapsASumBeyond64Bits) {
  std::u16string html;
  for (int i = 0; i < 3; ++i) html += u"<img width=2147483647 height=2147483647>";
  const auto page = parsed(html);
  const auto cache = WFImgArrayCache::imgArrayCacheWithArray(page->images());
  const std::uint64_t area = 2147483647ULL * 2147483647ULL;
  EXPECT_EQ(cache.numberOfKnownImagePixels(), static_cast<std::int64_t>(3 * area));
}

TEST(WFImgArrayCache, StopsAtTheFirstNodeThatIsNoImage) {
  const auto page = parsed(u"<img alt=a width=2 height=3><a title=link></a><img alt=b>");
  const std::vector<const XMLNode*> array = {&page->images()[0], &page->links()[0], &page->images()[1]};
  platform::CapturedLog log;
  const auto cache = WFImgArrayCache::imgArrayCacheWithArray(array);
  EXPECT_EQ(cache.imageAlternativeDescriptions(), String(u"a\n"));
  EXPECT_EQ(cache.numberOfKnownImagePixels(), 6);
  EXPECT_EQ(cache.numberOfUnknownSizedImages(), 0);
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.contains(platform::LogLevel::Error,
                           "-[WFImgArrayCache initWithArray:] -- Array doesn't contain WFImg objects"));
}

TEST(WFImgArrayCache, TakesImagesAsNodesToo) {
  const auto page = parsed(u"<img alt=a><img alt=b>");
  const std::vector<const XMLNode*> array = {&page->images()[0], &page->images()[1]};
  platform::CapturedLog log;
  EXPECT_EQ(WFImgArrayCache::imgArrayCacheWithArray(array).imageAlternativeDescriptions(), String(u"a\nb\n"));
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace sifterra
