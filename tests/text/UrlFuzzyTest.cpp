// N-grams of a page's address.
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

#include "sifterra/text/WFWebPageToFilterText.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::String;

String gramsOf(const char16_t* url, std::int32_t wordLength) {
  WFWebPageToFilterText page(fakePage(u""));
  if (url) page.setURLString(String(url));
  return page.URLFuzzyWithWordLength(wordLength);
}

struct Row {
  const char16_t* url;
  std::int32_t wordLength;
  const char16_t* grams;
};

TEST(URLFuzzy, SkipsSevenCharactersAndTakesTwenty) {
  const Row rows[] = {
      {u"http://ab", 3, u""},       // nine characters are too few
      {u"http://abc", 3, u"abc "},  // ten are enough
      {u"http://abcd", 3, u"abc bcd "},
      {u"ftp://abcdx", 3, u"bcd cdx "},  // seven, whatever the scheme
      {u"https://abcd", 3, u"/ab abc bcd "},
      {nullptr, 3, u""},
      {u"", 3, u""},
      {u"http://0123456789012345678", 20, u""},
      {u"http://01234567890123456789", 20, u"01234567890123456789 "},
      {u"http://0123456789012345678901234567890ab", 20, u"01234567890123456789 "},  // 7 to 26 only
      {u"http://012345678901234567890", 19, u"0123456789012345678 1234567890123456789 "},
      {u"http://ab", -8, u""},  // below -7 the sum is negative: a huge length
      {u"http://ab", std::numeric_limits<std::int32_t>::max(), u""},  // the sum wraps
      {u"http://ab", 0, u"   "},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.url ? String(row.url).toUTF8() : "(null)");
    EXPECT_EQ(gramsOf(row.url, row.wordLength), String(row.grams));
  }
}

TEST(URLFuzzy, UsesCharacters7To26OfAURLOf40) {
  const String grams = gramsOf(u"http://abcdefghijklmnopqrstuvwxyz0123456", 1);
  EXPECT_EQ(grams, String(u"a b c d e f g h i j k l m n o p q r s t "));
}

TEST(URLFuzzy, RefusesAWordLengthThatNoTextHas) {
  EXPECT_THROW((void)gramsOf(u"http://abc", -1), std::out_of_range);
  EXPECT_THROW((void)gramsOf(u"http:", -3), std::out_of_range);
  // 21 passes the test of the length, yet only 20 characters are used.
  EXPECT_THROW((void)gramsOf(u"http://0123456789012345678901234567890ab", 21), std::out_of_range);
}

TEST(URLFuzzyForFilter, ListsFourLengthsALineEach) {
  WFWebPageToFilterText page(fakePage(u""));
  EXPECT_EQ(page.URLFuzzyForFilter(), String(u"\n\n\n\n"));
  page.setURLString(String(u"http://abcde"));
  EXPECT_EQ(page.URLFuzzyForFilter(), String(u"abc bcd cde \nabcd bcde \nabcde \n\n"));
}

}  // namespace
}  // namespace sifterra
