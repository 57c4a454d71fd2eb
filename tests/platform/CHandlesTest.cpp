#include "platform/CHandles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace sifterra::platform {
namespace {

constinit WFString immortalWord{u"w\u00f6rd"};
constinit WFStringRef immortalReference = &immortalWord;

std::string textOf(WFStringRef string) {
  return {WFStringGetUTF8(string), WFStringGetUTF8Length(string)};
}

TEST(CHandles, NullStandsForNone) {
  EXPECT_EQ(createHandle(String()), nullptr);
  EXPECT_EQ(createHandle(URL()), nullptr);
  EXPECT_EQ(createHandle(Data()), nullptr);
  EXPECT_TRUE(stringFromHandle(nullptr).isNull());
  EXPECT_TRUE(urlFromHandle(nullptr).isNull());
  EXPECT_TRUE(dataFromHandle(nullptr).isNull());
  EXPECT_EQ(borrowedHandle(String()), nullptr);
}

TEST(CHandles, AStringHandleSharesTheString) {
  const String text(u"shared");
  const WFStringRef handle = createHandle(text);
  EXPECT_TRUE(stringFromHandle(handle).sameObject(text));
  WFRelease(handle);
}

TEST(CHandles, AnImmortalStringHoldsNoCount) {
  EXPECT_EQ(textOf(immortalReference), "w\u00f6rd");
  EXPECT_EQ(WFStringGetLength(immortalReference), 4U);
  for (int i = 0; i < 10; ++i) WFRelease(immortalReference);
  EXPECT_EQ(WFRetain(immortalReference), immortalReference);
  EXPECT_EQ(stringFromHandle(immortalReference), String(u"w\u00f6rd"));
  EXPECT_TRUE(stringFromHandle(immortalReference).sameObject(stringFromHandle(immortalReference)));
}

TEST(CHandles, LoneSurrogatesAreKeptAndReadAsReplacement) {
  const std::uint16_t units[] = {'a', 0xD800, 'b', 0xDC00};
  const WFStringRef string = WFStringCreateWithUTF16(units, 4);
  EXPECT_EQ(WFStringGetLength(string), 4U);
  EXPECT_EQ(textOf(string), "a\uFFFDb\uFFFD");
  EXPECT_EQ(stringFromHandle(string).view(),
            (std::u16string_view(reinterpret_cast<const char16_t*>(units), 4)));
  WFRelease(string);
}

struct BytesRow {
  const char* what;
  std::string bytes;
  bool wellFormed;
};
const BytesRow kBytesRows[] = {
    {"empty", "", true},
    {"ASCII", "abc", true},
    {"a zero byte inside", std::string("a\0b", 3), true},
    {"an astral character", "\xF0\x9F\x98\x80", true},
    {"a byte-order mark", "\xEF\xBB\xBFx", true},
    {"a stray continuation", "a\x80", false},
    {"a cut sequence", "\xE2\x82", false},
    {"an overlong form", "\xC0\xAF", false},
    {"an encoded surrogate", "\xED\xA0\x80", false},
    {"beyond U+10FFFF", "\xF4\x90\x80\x80", false},
};
TEST(CHandles, StringsAreMadeFromWellFormedUTF8Only) {
  for (const BytesRow& row : kBytesRows) {
    SCOPED_TRACE(row.what);
    const WFStringRef string = WFStringCreateWithUTF8Bytes(row.bytes.data(), row.bytes.size());
    ASSERT_EQ(string != nullptr, row.wellFormed);
    if (string) {
      EXPECT_EQ(textOf(string), row.bytes);
    }
    WFRelease(string);
  }
}

// No buffer has these lengths: refused before anything is read.
TEST(CHandles, ImpossibleLengthsAndMissingBytesGiveNoObject) {
  EXPECT_EQ(WFDataCreate("x", SIZE_MAX), nullptr);
  EXPECT_EQ(WFStringCreateWithUTF16(nullptr, 1), nullptr);
  EXPECT_EQ(WFStringCreateWithUTF8Bytes(nullptr, 1), nullptr);
  EXPECT_EQ(WFStringCreateWithUTF8(nullptr), nullptr);
  EXPECT_EQ(WFURLCreateWithUTF8(nullptr), nullptr);
  EXPECT_EQ(WFDataCreate(nullptr, 1), nullptr);
  for (const void* empty : {static_cast<const void*>(WFDataCreate(nullptr, 0)),
                            static_cast<const void*>(WFStringCreateWithUTF8Bytes(nullptr, 0)),
                            static_cast<const void*>(WFStringCreateWithUTF16(nullptr, 0))}) {
    EXPECT_NE(empty, nullptr);
    WFRelease(empty);
  }
}

TEST(CHandles, URLsAreReferencesAfterTheStandard) {
  const WFURLRef url = WFURLCreateWithUTF8("HTTP://a/%41?b#c");
  EXPECT_STREQ(WFURLGetUTF8(url), "HTTP://a/%41?b#c");
  EXPECT_EQ(WFURLGetUTF8Length(url), 16U);
  EXPECT_EQ(urlFromHandle(url).scheme(), String(u"HTTP"));
  WFRelease(url);
  EXPECT_EQ(WFURLCreateWithUTF8("http://a b/"), nullptr);
  EXPECT_EQ(WFURLCreateWithUTF8("\xff"), nullptr);
}

TEST(CHandles, DataIsCopied) {
  std::string bytes = "abc";
  const WFDataRef data = WFDataCreate(bytes.data(), bytes.size());
  bytes[0] = 'X';
  EXPECT_EQ(dataFromHandle(data).chars(), "abc");
  EXPECT_EQ(WFDataGetLength(data), 3U);
  WFRelease(data);
}

TEST(CHandles, EightThreadsMayReadRetainAndReleaseOneObject) {
  for (int round = 0; round < 50; ++round) {
    const WFStringRef string = WFStringCreateWithUTF8("gr\u00fcn");
    std::atomic<int> waiting{8};
    std::atomic<const char*> seen[8] = {};
    std::vector<std::thread> threads;
    for (auto& text : seen) {
      threads.emplace_back([&text, &waiting, string] {
        --waiting;
        while (waiting > 0) std::this_thread::yield();
        const void* kept = WFRetain(string);
        text = WFStringGetUTF8(string);  // all see one and the same text
        WFRelease(kept);
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (const auto& text : seen) EXPECT_EQ(text, seen[0]);
    EXPECT_STREQ(seen[0], "gr\u00fcn");
    WFRelease(string);
  }
}

}  // namespace
}  // namespace sifterra::platform
