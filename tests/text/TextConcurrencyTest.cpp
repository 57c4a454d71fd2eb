// Eight threads at the shared tag factory, and at one decorator's URL.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "sifterra/text/WFWebPageToFilterText.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::String;

constexpr int kThreads = 8;

template <class Work>
void onEightThreads(Work work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([work, i] { work(i); });
  for (std::thread& thread : threads) thread.join();
}

TEST(Text, IsTheSameOnEveryThreadFirstUseIncluded) {
  std::vector<String> texts(kThreads);
  onEightThreads([&texts](int i) {
    for (int round = 0; round < 50; ++round) {
      texts[static_cast<std::size_t>(i)] =
          WFWebPageToFilterText(fakePage(u"call 69 now, 18 USC 2257")).plainText();
    }
  });
  for (const String& text : texts) EXPECT_EQ(text, texts[0]);
  EXPECT_NE(texts[0].view().find(u"[ SixtyNineWebFilterTag  ]"), std::u16string_view::npos);
}

TEST(URLString, IsReadWholeWhileOthersSetIt) {
  WFWebPageToFilterText page(fakePage(u""));
  page.setURLString(String(u"http://a/"));
  onEightThreads([&page](int i) {
    for (int round = 0; round < 500; ++round) {
      if (i % 2 == 0) page.setURLString(String(round % 2 == 0 ? u"http://a/" : u"http://bb/"));
      const String url = page.URLString();
      EXPECT_TRUE(url == String(u"http://a/") || url == String(u"http://bb/"));
    }
  });
}

}  // namespace
}  // namespace sifterra
