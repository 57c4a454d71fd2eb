// Tests of String and Data: null is a state of its own, copies and slices share.
#include "sifterra/platform/String.h"

#include <gtest/gtest.h>

#include "sifterra/platform/Data.h"

namespace sifterra::platform {
namespace {

using namespace std::string_view_literals;

TEST(String, NullIsNotTheEmptyString) {
  const String null;
  const String empty(u"");
  EXPECT_TRUE(null.isNull());
  EXPECT_FALSE(null);
  EXPECT_TRUE(String(nullptr).isNull());
  EXPECT_FALSE(empty.isNull());
  EXPECT_TRUE(empty);
  EXPECT_FALSE(null == empty);
  EXPECT_TRUE(null == String());
  EXPECT_TRUE(empty == String(std::u16string()));
  EXPECT_EQ(null.view(), u""sv);
  EXPECT_EQ(null.length(), 0U);
  EXPECT_EQ(null.toUTF8(), "");
}

TEST(String, ComparesUnitsAndCountsThem) {
  const String smile(u"a\U0001F600");
  EXPECT_EQ(smile.length(), 3U);
  EXPECT_TRUE(smile == String(std::u16string{u'a', 0xD83D, 0xDE00}));
  EXPECT_FALSE(smile == String(u"a"));
  EXPECT_EQ(String(std::u16string(2, u'\0')).length(), 2U);
}

TEST(String, KeepsLoneSurrogates) {
  const std::u16string units{0xDE00, u'x', 0xD83D};
  EXPECT_EQ(String(units).view(), units);
  EXPECT_EQ(String(units).toUTF8(), "\xEF\xBF\xBDx\xEF\xBF\xBD");
}

TEST(String, CopiesShareOneBuffer) {
  const String a(u"text");
  const String b = a;  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_TRUE(a.sameObject(b));
  EXPECT_FALSE(a.sameObject(String(u"text")));
  EXPECT_TRUE(String().sameObject(String()));
}

TEST(String, FromUTF8IsNullForIllFormedBytesUnlessLossy) {
  EXPECT_TRUE(String::fromUTF8("\xFF").isNull());
  EXPECT_TRUE(String::fromUTF8("\xED\xA0\x80").isNull());
  EXPECT_EQ(String::fromUTF8Lossy("a\xFF"), String(u"a\uFFFD"));
  EXPECT_EQ(String::fromUTF8("\xC3\xA9\0b"sv), String(u"\u00E9\0b"sv));
  EXPECT_EQ(String::fromUTF8(""), String(u""));
}

TEST(Data, NullIsNotTheEmptyRun) {
  const Data null;
  const Data empty{std::string()};
  EXPECT_TRUE(null.isNull());
  EXPECT_TRUE(Data(nullptr).isNull());
  EXPECT_FALSE(empty.isNull());
  EXPECT_EQ(null.length(), 0U);
  EXPECT_EQ(null.chars(), "");
  EXPECT_TRUE(null.slice(0, 5).isNull());
  EXPECT_FALSE(empty.slice(3, 5).isNull());
}

TEST(Data, SlicesShareTheBytesAndKeepThemAlive) {
  Data part;
  const char* start = nullptr;
  {
    const Data whole(std::string("0123456789, long enough to be on the heap"));
    start = whole.chars().data();
    part = whole.slice(2, 5);
  }
  EXPECT_EQ(part.chars(), "23456");
  EXPECT_EQ(part.chars().data(), start + 2);
  EXPECT_EQ(part.slice(1, 2).chars(), "34");
}

TEST(Data, SlicesAreCutToWhatThereIs) {
  const Data data(std::string("abc"));
  EXPECT_EQ(data.slice(1, 100).chars(), "bc");
  EXPECT_EQ(data.slice(3, 1).chars(), "");
  EXPECT_EQ(data.slice(100, 1).chars(), "");
  EXPECT_FALSE(data.slice(100, 1).isNull());
  EXPECT_EQ(data.slice(0, std::size_t(-1)).chars(), "abc");
}

TEST(Data, TakesAnyBytes) {
  const Data data(std::as_bytes(std::span("a\0b", 3)));
  EXPECT_EQ(data.chars(), "a\0b"sv);
  EXPECT_EQ(data.bytes().size(), 3U);
  EXPECT_EQ(data.bytes()[2], std::byte{'b'});
}

}  // namespace
}  // namespace sifterra::platform
