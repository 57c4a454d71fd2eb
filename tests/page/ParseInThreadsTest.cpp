// The very first parses of a process, from eight threads at once. A program of its own, so that nothing
// has set libxml2 up before.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "page_fixture.h"
#include "platform/Log.h"

namespace sifterra {
namespace {

TEST(WFTreeHTMLStripper, IsUsedFromEightThreadsFirstUseIncluded) {
  const platform::CapturedLog log(platform::LogLevel::Error);
  const std::vector<platform::Data> pages = {
      fixture("title-and-bold.html"), fixture("charset-http-equiv-latin1.html"),
      fixture("gb2312-declared-but-broken.html"), fixture("links-and-images.html")};
  std::atomic<int> ready{0};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready < 8) std::this_thread::yield();
      for (std::size_t round = 0; round < 200; ++round) {
        const auto which = (round + static_cast<std::size_t>(t)) % pages.size();
        const auto model = WFTreeHTMLStripper::treeStripperWithData(pages[which]);
        const bool right = model &&
                           (which != 0 || model->pageContent() == platform::String(u" T Hello world ")) &&
                           (which != 1 || model->pageContent() == platform::String(u" \u00C3\u00A9 ")) &&
                           (which != 3 || (model->links().size() == 4 && model->images()[1].area() == 200));
        if (!right) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace sifterra
