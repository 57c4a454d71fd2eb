// Eight threads at one list, and at the properties of one site.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "sifterra/policy/WFWhitelistSiteBuffer.h"

namespace sifterra {
namespace {

using platform::String;
using platform::URL;

constexpr int kThreads = 8;
constexpr int kRounds = 400;

template <class Work>
void onEightThreads(Work work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([work, i] { work(i); });
  for (std::thread& thread : threads) thread.join();
}

String address(int i) {
  return String::fromUTF8("http://host" + std::to_string(i % 7) + ".example.com/page" + std::to_string(i));
}

TEST(SiteBuffer, ServesEightThreadsAtOnce) {
  WFWhitelistSiteBuffer buffer;
  buffer.setMaxSize(100);
  onEightThreads([&buffer](int thread) {
    for (int i = 0; i < kRounds; ++i) {
      buffer.addURLString(address(i * kThreads + thread));
      static_cast<void>(buffer.containsURLString(address(i)));
      static_cast<void>(buffer.containsMetasitePrefixOfURLString(address(i)));
      if (i % 20 == 0) buffer.setMaxSize(static_cast<std::uint64_t>(50 + thread));
      if (i % 50 == 0) {
        EXPECT_FALSE(buffer.description().isNull());
        // Of any size: a set outlives the list that another thread replaces.
        for (const auto& site : buffer.siteSet()) EXPECT_TRUE(site);
        buffer.setSiteBuffer(buffer.siteBuffer());
        buffer.setSiteSet(buffer.siteBuffer());
      }
      EXPECT_LE(buffer.count(), 100U);
    }
  });
  buffer.setMaxSize(10);
  EXPECT_EQ(buffer.count(), 10U);
  EXPECT_EQ(buffer.siteBuffer().size(), 10U);
}

TEST(SiteBuffer, LosesNoAddition) {
  WFWhitelistSiteBuffer buffer;
  onEightThreads([&buffer](int thread) {
    for (int i = 0; i < kRounds; ++i) buffer.addURLString(address(i * kThreads + thread));
  });
  EXPECT_EQ(buffer.count(), static_cast<std::uint64_t>(kThreads * kRounds));
  for (int i = 0; i < kThreads * kRounds; ++i) EXPECT_TRUE(buffer.containsURLString(address(i))) << i;
}

TEST(SiteBuffer, LosesNoAdditionOfManyWhileOthersAsk) {
  WFWhitelistSiteBuffer buffer;
  constexpr int kMany = 1000;
  onEightThreads([&buffer](int thread) {
    if (thread % 2 == 0) {
      std::vector<std::string> addresses;
      for (int i = 0; i < kMany; ++i)
        addresses.push_back("http://own" + std::to_string(i) + ".de/" + std::to_string(thread));
      buffer.addURLStrings(std::vector<std::string_view>(addresses.begin(), addresses.end()));
    } else {
      for (int i = 0; i < kMany; ++i) {
        const String asked = String::fromUTF8("http://own" + std::to_string(i) + ".de/0");
        static_cast<void>(buffer.containsURLString(asked));
        static_cast<void>(buffer.containsMetasitePrefixOfURLString(asked));
      }
    }
  });
  EXPECT_EQ(buffer.count(), std::uint64_t{kThreads / 2 * kMany});
  EXPECT_EQ(buffer.siteSet().size(), buffer.count());
}

TEST(SiteBuffer, ThatIsClosedStaysEmpty) {
  WFWhitelistSiteBuffer buffer;
  onEightThreads([&buffer](int thread) {
    for (int i = 0; i < kRounds; ++i) {
      if (thread == 0 && i == kRounds / 2) buffer.setMaxSize(0);
      buffer.addURLString(address(i));
    }
  });
  EXPECT_EQ(buffer.count(), 0U);
}

TEST(Site, IsReadWholeWhileOthersSetIt) {
  const String a(u"http://a.example.com/a");
  const String b(u"http://b.example.com/bb");
  WFWhitelistSite site(a);
  const WFWhitelistSite visited(String(u"http://x.example.com/a"));
  onEightThreads([&](int thread) {
    for (int i = 0; i < kRounds; ++i) {
      if (thread < 2) {
        site.setUrl(URL::fromString(i % 2 == 0 ? a : b));
        site.setUrlString(i % 2 == 0 ? b : a);
      }
      const String text = site.urlString();
      const String url = site.url().absoluteString();
      EXPECT_TRUE(text == a || text == b);
      EXPECT_TRUE(url == a || url == b);
      EXPECT_FALSE(site.isEqual(visited));
      EXPECT_EQ(site.domainName(), String(u"example.com"));
    }
  });
}

}  // namespace
}  // namespace sifterra
