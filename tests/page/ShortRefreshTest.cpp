// When a refresh tag counts as short.
#include "page/short_refresh.h"

#include <gtest/gtest.h>

#include <string>

#include "sifterra/platform/String.h"

namespace sifterra {
namespace {

struct Row {
  const char16_t* content;
  bool isShort;
};

constexpr Row kRows[] = {
    {u"5; url=/next", true},
    {u"0", true},
    {u"10", true},
    {u"11", false},
    {u"url=/x", false},  // no delay
    {u"", false},
    {u"-1", false},
    {u"+1", false},
    {u";0", false},
    {u"9.9", true},
    {u"10.5", true},
    {u"3s", true},
    {u" \t5", true},                // trimmed
    {u"\n\r\u00A0\u0085 5", true},  // white space before the first digit is skipped
    {u"\n\v5", true},
    {u"x5", false},
    {u"0000000000000000000000000000000000010", true},  // by value, whatever the length
    {u"0000000000000000000000000000000000011", false},
    {u"4294967296", false},            // 2 to the 32nd
    {u"18446744073709551617", false},  // 2 to the 64th, and 1
    {u"99999999999999999999999999999999999999", false},
    {u"\u0665", false},  // an Arabic five is no ASCII digit
    {u"1\u0660", true},
    {u"0; url=http://images.example.com/search", false},  // the exception
    {u"0; url=http://image.example.com/search", true},
    {u"0; url=https://images.example.com/", true},
    {u"0; URL=http://images.example.com/", true},  // case counts
    {u"0; url= http://images.example.com/", true},
};

TEST(IsShortRefresh, ReadsALeadingDelayOfAtMostTenSeconds) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(platform::String(row.content).toUTF8());
    EXPECT_EQ(isShortRefresh(row.content), row.isShort);
  }
}

TEST(IsShortRefresh, HasTheseConstants) {
  EXPECT_EQ(kImageSearchRefresh, u"url=http://images.");
  EXPECT_EQ(kLongestShortRefresh, 10U);
}

}  // namespace
}  // namespace sifterra
