// Words with one mistake in them.
#include "lsm/NearWords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "lsm/DamagedMap.h"
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

TEST(NearWords, AreLeftWithGluedOnesWhereThatIsAskedFor) {
  const TinyMapFile file(contentsWithNearWords());
  const LsmMap map = lsmMapLoad(file.path());
  const auto scores = [&map](std::u16string_view words, bool leaves) {
    Text text(map);
    if (leaves) text.leaveDisguises();
    text.addWords(words);
    return evaluate(*map, text);
  };
  constexpr std::u16string_view kHonest = u"the school and its garden, porn and 18 pages";
  EXPECT_EQ(scores(kHonest, true), scores(kHonest, false));
  for (const std::u16string_view disguised :
       {u"wecbam ertoic", u"freepictures webcamerotic", u"p0rn p o r n"}) {
    EXPECT_NE(scores(disguised, false), scores(u"", false));
    EXPECT_EQ(scores(disguised, true), scores(u"", true));
  }
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

std::string bytesWithNearWords() {
  std::string why;
  std::string bytes = mapFileBytes(contentsWithNearWords(), why);
  EXPECT_EQ(why, "");
  return bytes;
}

// The map of these contents again, read back from the file.
TEST(NearWords, KeysAreReadBackFromTheFile) {
  std::string why;
  const LsmMap map = Map::ofBytes(MapBytes::copyOf(bytesWithNearWords()), why);
  ASSERT_NE(map, nullptr) << why;
  const MapContents given = contentsWithNearWords();
  const MapContents read = contentsOf(*map);
  const auto described = [](const MapContents& contents) {
    std::vector<std::pair<std::uint64_t, std::string>> keys;
    for (const NearKey& key : contents.nearKeys) keys.emplace_back(key.key, contents.words[key.word].text);
    std::sort(keys.begin(), keys.end());
    return keys;
  };
  EXPECT_EQ(described(read), described(given));
  EXPECT_EQ(meantBy(mapOf(read, why), u"wecbam"), "webcam");
  EXPECT_EQ(mapFileBytes(contentsOf(*mapOf(read, why)), why), mapFileBytes(read, why));
}

TEST(NearWords, ADamagedTableIsRefused) {
  const std::string sound = bytesWithNearWords();
  const auto refusal = [&sound](auto change) {
    std::string bytes = sound;
    change(*payloadOf(bytes));
    return refusalOf(resealed(bytes));
  };
  const auto setLength = [](const void* vector, std::uint32_t length) {
    std::memcpy(const_cast<void*>(vector), &length, sizeof length);
  };
  const std::uint64_t words = contentsWithNearWords().words.size();
  const char* const kWhy = "bad table of near words";
  EXPECT_EQ(refusal([](file::Map&) {}), "taken");
  EXPECT_EQ(refusal([&](file::Map& map) { map.mutable_near_slots()->Mutate(3, words + 1); }), kWhy);
  EXPECT_EQ(refusal([](file::Map& map) { map.mutable_near_slots()->Mutate(3, kSlotWordMask); }), kWhy);
  EXPECT_EQ(
      refusal([](file::Map& map) { map.mutable_near_slots()->Mutate(3, std::uint64_t{1} << kSlotWordBits); }),
      kWhy)
      << "a tag without a word";
  EXPECT_EQ(refusal([&](file::Map& map) { setLength(map.near_slots(), 3); }), kWhy);
  EXPECT_EQ(refusal([&](file::Map& map) { setLength(map.near_slots(), 0); }), kWhy);
  EXPECT_EQ(refusal([&](file::Map& map) { setLength(map.near_filter(), 3); }), kWhy);
  EXPECT_EQ(refusal([&](file::Map& map) { setLength(map.near_filter(), 0); }), kWhy);
}

TEST(NearWords, ATableOfSomebodyElsesMakingHarmsNobody) {
  const std::string sound = bytesWithNearWords();
  const auto meant = [&sound](auto change) {
    std::string bytes = sound;
    change(*payloadOf(bytes));
    std::string why;
    return meantBy(Map::ofBytes(MapBytes::copyOf(resealed(bytes)), why), u"wecbam");
  };
  const auto fill = [](file::Map& map, std::uint64_t bits) {
    auto* slots = map.mutable_near_slots();
    for (std::uint32_t i = 0; i < slots->size(); ++i) slots->Mutate(i, slots->Get(i) | bits | 1);
  };
  // No free slot ends a look-up, and the slots lead to words that are far from what is asked for.
  EXPECT_EQ(meant([&](file::Map& map) { fill(map, 0); }), "unknown");
  EXPECT_EQ(meant([&](file::Map& map) { fill(map, ~kSlotWordMask); }), "unknown");
  EXPECT_EQ(meant([](file::Map& map) {
              auto* filter = map.mutable_near_filter();
              for (std::uint32_t i = 0; i < filter->size(); ++i) filter->Mutate(i, 0);
            }),
            "unknown")
      << "an empty filter finds nothing";
}

}  // namespace
}  // namespace sifterra::lsm
