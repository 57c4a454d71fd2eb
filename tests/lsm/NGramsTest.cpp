// Hashed character n-grams of words.
#include "lsm/NGrams.h"

#include <gtest/gtest.h>
#include <xxhash.h>

#include <string>
#include <vector>

#include "lsm/TokenList.h"

namespace sifterra::lsm {
namespace {

std::vector<std::uint32_t> bucketsOf(std::u16string_view word,
                                     std::uint32_t bucketCount = kDefaultBucketCount) {
  const auto tokens = tokensOf(word);
  NGramBuckets buckets;
  nGramBuckets(tokens.front().token(), bucketCount, buckets);
  return {buckets.bucket, buckets.bucket + buckets.count};
}

std::uint32_t bucketOf(const std::string& nGram) {
  return static_cast<std::uint32_t>(XXH3_64bits(nGram.data(), nGram.size())) & (kDefaultBucketCount - 1);
}

TEST(NGrams, AreAllRunsOfFourAndFiveCharactersOfTheBracketedWord) {
  const std::vector<std::uint32_t> expected = {bucketOf("<wor"), bucketOf("word"), bucketOf("ord>"),
                                               bucketOf("<word"), bucketOf("word>")};
  EXPECT_EQ(bucketsOf(u"word"), expected);
}

TEST(NGrams, CountCharactersNotBytes) {
  const std::vector<std::uint32_t> expected = {
      bucketOf("<\u043c\u0438\u0440"), bucketOf("\u043c\u0438\u0440\u0430"), bucketOf("\u0438\u0440\u0430>"),
      bucketOf("<\u043c\u0438\u0440\u0430"), bucketOf("\u043c\u0438\u0440\u0430>")};
  EXPECT_EQ(bucketsOf(u"\u043c\u0438\u0440\u0430"), expected);
}

TEST(NGrams, EqualOnesCountTwice) {
  EXPECT_EQ(bucketsOf(u"abababab").size(), 7u + 6u);
}

TEST(NGrams, BelongToWordsOfFourToTwentyFourLetters) {
  EXPECT_TRUE(bucketsOf(u"abc").empty());
  EXPECT_EQ(bucketsOf(u"abcabcabcabcabcabcabcabc").size(), kMaxNGrams);
  EXPECT_TRUE(bucketsOf(u"abcabcabcabcabcabcabcabca").empty());
}

TEST(NGrams, OtherTokensHaveNone) {
  EXPECT_TRUE(bucketsOf(u"mp3file").empty());
  EXPECT_TRUE(bucketsOf(u"oooooooo").empty());
  EXPECT_TRUE(bucketsOf(u"12345").empty());
  EXPECT_TRUE(bucketsOf(u"\u0e2a\u0e27\u0e31").empty());
}

TEST(NGrams, StayBelowTheNumberOfBuckets) {
  for (const std::uint32_t count : {1u, 2u, 64u, 32768u}) {
    for (const std::uint32_t bucket : bucketsOf(u"internationalisation", count)) EXPECT_LT(bucket, count);
  }
}

}  // namespace
}  // namespace sifterra::lsm
