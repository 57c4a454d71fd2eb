// Words with one mistake in them.
#include "lsm/NearWords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "lsm/Evaluation.h"
#include "lsm/TinyMap.h"

namespace sifterra::lsm {
namespace {

MapContents contentsWithNearWords() {
  MapContents contents = tinyMapContents();
  NearKeys keys;
  for (std::uint32_t i = 0; i < contents.words.size(); ++i) {
    if (contents.words[i].text != "webcam" && contents.words[i].text != "erotic") continue;
    nearKeys(contents.words[i].text, keys);
    for (std::size_t k = 0; k < keys.count; ++k) contents.nearKeys.push_back({keys.key[k], i});
  }
  return contents;
}

std::string meantBy(const LsmMap& map, const std::u16string& word) {
  Text text(map);
  text.addWords(word);
  if (text.sequence().size() != 1) return "nothing";
  const std::uint32_t known = text.knownWord(text.sequence()[0]);
  return known == Map::kUnknownWord ? "unknown" : std::string(map->word(known));
}

TEST(NearWords, OneMistakeIsOneLetterMoreLessOrOtherOrTwoThatChangePlaces) {
  for (const char* other : {"webcaam", "wbcam", "weebcam", "webxam", "wecbam", "webacm"}) {
    EXPECT_TRUE(isOneMistakeApart("webcam", other)) << other;
    EXPECT_TRUE(isOneMistakeApart(other, "webcam")) << other;
  }
  for (const char* other : {"webcam", "webcams", "xwebcam", "ebcam", "webca", "xebcam", "webcax", "wcbeam",
                            "wexxam", "wbcm", "webbcaam", "", "w"}) {
    EXPECT_FALSE(isOneMistakeApart("webcam", other)) << other;
  }
  EXPECT_TRUE(isOneMistakeApart("\u043f\u043e\u0440\u043d\u043e", "\u043f\u043e\u043d\u0440\u043e"))
      << "letters, not bytes";
}

TEST(NearWords, WordsWithOneMistakeShareAKey) {
  std::mt19937 random(4);
  for (int round = 0; round < 2000; ++round) {
    std::string word;
    for (std::size_t i = 5 + random() % 12; i > 0; --i) word += static_cast<char>('a' + random() % 4);
    std::string other = word;
    const std::size_t at = 1 + random() % (word.size() - 2);
    switch (random() % 4) {
      case 0:
        other.erase(at, 1);
        break;
      case 1:
        other.insert(at, 1, 'z');
        break;
      case 2:
        other[at] = 'z';
        break;
      default:
        if (at + 2 >= word.size()) continue;
        std::swap(other[at], other[at + 1]);
        break;
    }
    if (other == word) continue;
    ASSERT_TRUE(isOneMistakeApart(word, other)) << word << ' ' << other;
    NearKeys a;
    NearKeys b;
    nearKeys(word, a);
    nearKeys(other, b);
    ASSERT_NE(std::find_first_of(a.key, a.key + a.count, b.key, b.key + b.count), a.key + a.count)
        << word << ' ' << other;
  }
}

TEST(NearWords, AWordHasAKeyForItselfAndOneForEachInnerLetter) {
  NearKeys keys;
  nearKeys("webcam", keys);
  EXPECT_EQ(keys.count, 5U);
  nearKeys("\u043f\u043e\u0440\u043d\u043e", keys);
  EXPECT_EQ(keys.count, 4U);
  nearKeys("ab", keys);
  EXPECT_EQ(keys.count, 0U);
  nearKeys(std::string(kMaxNearWord, 'a'), keys);
  EXPECT_EQ(keys.count, kMaxNearWord - 1);
  nearKeys(std::string(kMaxNearWord + 1, 'a'), keys);
  EXPECT_EQ(keys.count, 0U);
}

TEST(NearWords, AnUnknownWordWithAMistakeIsTheWordThatWasMeant) {
  const TinyMapFile file(contentsWithNearWords());
  const LsmMap map = lsmMapLoad(file.path());
  EXPECT_EQ(meantBy(map, u"wecbam"), "webcam");
  EXPECT_EQ(meantBy(map, u"WEBCAAM"), "webcam");
  EXPECT_EQ(meantBy(map, u"ertic"), "erotic");
  EXPECT_EQ(meantBy(map, u"webcam"), "webcam");
  EXPECT_EQ(meantBy(map, u"weather"), "weather");
  EXPECT_EQ(meantBy(map, u"wehcxm"), "unknown");
  EXPECT_EQ(meantBy(map, u"scinece"), "unknown") << "harmless words are not looked for";
  const TinyMapFile plain;
  EXPECT_EQ(meantBy(lsmMapLoad(plain.path()), u"wecbam"), "unknown");
}

TEST(NearWords, AMisspeltTextScoresLikeTheTextThatWasMeant) {
  const TinyMapFile file(contentsWithNearWords());
  const LsmMap map = lsmMapLoad(file.path());
  const auto scores = [&map](std::u16string_view words) {
    Text text(map);
    text.addWords(words);
    return evaluate(*map, text);
  };
  EXPECT_EQ(scores(u"wecbam ertoic"), scores(u"webcam erotic"));
}

TEST(NearWords, KeysThatMakeNoMapAreRefused) {
  std::string why;
  MapContents contents = contentsWithNearWords();
  contents.nearKeys[0].word = 1000;
  EXPECT_EQ(mapFileBytes(contents, why), "");
  EXPECT_EQ(why, "a near word is none of the words");
  contents.nearKeys.assign(100, {5, 1});
  EXPECT_EQ(mapFileBytes(contents, why), "");
  EXPECT_EQ(why, "too many words share a key");
}

}  // namespace
}  // namespace sifterra::lsm
