// Tests of the evaluator with any chunks, in many threads, in great number and with large bodies.

#include <malloc.h>

#include <algorithm>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "blockpage/EvaluatorTest.h"

namespace sifterra {
namespace {

using platform::Data;
using platform::String;
using testing::StartsWith;

TEST_F(WebFilterEvaluatorTest, AnyCutIntoChunksGivesTheBytesOfOneChunk) {
  std::mt19937 random(6201);
  for (int round = 0; round < 300; ++round) {
    beUser(round % 3 == 0 ? u"listed" : u"filtered");
    const std::string body = pageOf(random() % 2 == 0 ? kAdult : kOrdinary, random() % 70000);
    WebFilterEvaluator whole = evaluatorFor();
    std::string expected = add(whole, body);
    if (whole.filterState() == WebFilterStateBuffering) expected = complete(whole);

    WebFilterEvaluator cut = evaluatorFor();
    std::string passedOn;
    std::size_t at = 0;
    while (at < body.size() && cut.filterState() == WebFilterStateBuffering) {
      const std::size_t size = 1 + random() % (random() % 4 == 0 ? 40000 : 3000);
      const std::string bytes = add(cut, body.substr(at, size));
      if (cut.filterState() == WebFilterStateBuffering) {
        ASSERT_EQ(bytes, "");
      }
      passedOn += bytes;
      at = std::min(body.size(), at + size);
    }
    if (cut.filterState() == WebFilterStateBuffering) passedOn += complete(cut);
    if (!cut.wasBlocked()) passedOn += body.substr(at);
    ASSERT_EQ(cut.filterState(), whole.filterState()) << body.size();
    ASSERT_EQ(passedOn, expected) << body.size();
  }
}

TEST_F(WebFilterEvaluatorTest, ThreadsStreamForDifferentUsersAtOnce) {
  const std::string adult = pageOf(kAdult, 2000);
  const std::string ordinary = pageOf(kOrdinary, 40000);
  const auto work = [&](const char16_t* user, const char* blockPage) {
    for (int i = 0; i < 50; ++i) {
      WebFilterEvaluator refusing(WebFilterResponse{urlFrom(kAddress)}, String(user));
      EXPECT_EQ(add(refusing, adult), "");
      EXPECT_THAT(complete(refusing), StartsWith(blockPage));
      WebFilterEvaluator allowing(WebFilterResponse{urlFrom(u"http://allowed.example.com/")}, String(user));
      EXPECT_EQ(add(allowing, ordinary), ordinary);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back(work, u"filtered", "blockpage|");
    threads.emplace_back(work, u"strict", "blockpage-nooverride|");
    threads.emplace_back(work, u"listed", "blockpage-wl|");
    threads.emplace_back(work, u"shut", "blockpage-nooverride|");
  }
  for (std::thread& thread : threads) thread.join();
}

// Bytes that are allocated now. What is in use may be told by nothing but the C library's own allocator: with
// another one both numbers are 0, and the tests below show only that the bodies come back.
std::size_t allocated() {
  const auto info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST_F(WebFilterEvaluatorTest, TenThousandAtOnceHoldTheirBodiesAndLittleMore) {
  constexpr std::size_t kEvaluators = 10000;
  constexpr std::size_t kChunk = 1000;
  std::vector<std::shared_ptr<WebFilterEvaluator>> evaluators;
  const std::string body = pageOf(kOrdinary, 3 * kChunk);
  evaluators.reserve(kEvaluators);
  for (std::size_t i = 0; i < kEvaluators; ++i)
    evaluators.push_back(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}));
  const std::size_t before = allocated();
  for (std::size_t offset = 0; offset < body.size(); offset += kChunk) {
    for (const auto& evaluator : evaluators) EXPECT_EQ(add(*evaluator, body.substr(offset, kChunk)), "");
  }
  const std::size_t after = allocated();
  // Below the sample's size a buffer may hold as much again as the body.
  EXPECT_LT(after, before + kEvaluators * (2 * body.size() + 100));
  EXPECT_EQ(complete(*evaluators.front()), body);
  for (const auto& evaluator : evaluators) {
    EXPECT_EQ(evaluator == evaluators.front() ? WebFilterStateAllowed : WebFilterStateBuffering,
              evaluator->filterState());
  }
}

TEST_F(WebFilterEvaluatorTest, ALargeBodyIsHeldOnce) {
  constexpr std::size_t kBytes = std::size_t{64} << 20;
  WebFilterEvaluator evaluator = evaluatorFor();
  const std::size_t before = allocated();
  Data handedBack;
  {
    const Data body(pageOf(kOrdinary, kBytes));
    handedBack = evaluator.addData(body);
  }
  EXPECT_EQ(handedBack.length(), kBytes);
  EXPECT_LT(allocated(), before + kBytes + (std::size_t{4} << 20));
}

}  // namespace
}  // namespace sifterra
