// How much of a text is kept.
#include "lsm/TextWords.h"

#include <gtest/gtest.h>

#include <string>

#include "lsm/TinyMap.h"
#include "lsm/WordSplitter.h"

namespace sifterra::lsm {
namespace {

TEST(TextWords, OnlySoManyOfATextAreCut) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  Text text(map);
  // Different words that cannot be cut use the allowance up; what is known already stays cut.
  text.addWords(u"freepictures");
  const auto name = [](std::size_t i) {
    std::u16string word = u"zqzq";
    for (int digit = 0; digit < 4; ++digit, i /= 10) word += static_cast<char16_t>(u'a' + i % 10);
    return word;
  };
  for (std::size_t i = 0; i + 1 < kMaxSplitsPerText; ++i) text.addWords(name(i));
  const std::size_t before = text.sequence().size();
  text.addWords(u"freepictures freepictures");
  EXPECT_EQ(text.sequence().size(), before + 4);
  text.addWords(u"homepictures");
  EXPECT_EQ(text.sequence().size(), before + 5) << "one unit: its n-grams";
}

TEST(TextWords, UnknownOnesOfATextAreBounded) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  Text text(map);
  std::u16string words;
  for (std::size_t i = 0; i < kMaxUnknownWords + 100; ++i) {
    std::size_t rest = i;
    for (int digit = 0; digit < 5; ++digit, rest /= 16) words += static_cast<char16_t>(u'a' + rest % 16);
    words += u'\n';
  }
  text.addWords(words);
  EXPECT_LE(text.unitCount(), kMaxUnknownWords);
  const std::size_t before = text.sequence().size();
  text.addWords(u"porn");
  EXPECT_EQ(text.sequence().size(), before + 1) << "known words still count";
}

}  // namespace
}  // namespace sifterra::lsm
