// Scores against a plain double-precision calculation, and what must never change them.
#include "lsm/Evaluation.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "lsm/TinyMap.h"
#include "reference/plain_evaluation.h"

namespace sifterra::lsm {
namespace {

// A map of random rows, also in the buckets, over short words of few letters.
class RandomMap {
 public:
  explicit RandomMap(std::uint32_t seed, std::uint32_t categories = 2, std::uint32_t rank = 12)
      : _random(seed) {
    MapContents contents;
    contents.categoryCount = categories;
    contents.rank = rank;
    contents.bucketCount = 256;
    for (std::uint32_t c = 1; c <= categories && c <= kSignedCategories; ++c) {
      contents.words.push_back({signatureToken(c), 0.05f, -1});
    }
    std::set<std::string> words;
    while (words.size() < 300) words.insert(word());
    for (const std::string& known : words) {
      if (tokensOf(std::u16string(known.begin(), known.end())).front().text != known) continue;
      contents.words.push_back({known, 0.5f, uniform(0, 9)});
    }
    fill(contents.wordRows, contents.words.size() * rank, 1);
    fill(contents.bucketRows, std::size_t{contents.bucketCount} * rank, 0.5f);
    fill(contents.head, std::size_t{categories} * rank, 3);
    fill(contents.bias, categories, 1);
    contents.windowTokens = 64;
    contents.windowPenalty = 0.5f;
    contents.partPenalties = {0.25f, 0.75f, 0.5f};
    contents.partTokens = 3;
    std::string why;
    map = Map::ofBytes(MapBytes::copyOf(mapFileBytes(contents, why)), why);
    EXPECT_NE(map, nullptr) << why;
  }

  std::u16string text(std::size_t words) {
    std::u16string text;
    for (std::size_t i = 0; i < words; ++i) {
      std::string next = word();
      if (_random() % 4 == 0) next += word();
      text.append(next.begin(), next.end());
      text += _random() % 9 == 0 ? u'\n' : u' ';
    }
    return text;
  }

  LsmMap map;

 private:
  float uniform(float least, float most) {
    return std::uniform_real_distribution<float>(least, most)(_random);
  }
  void fill(std::vector<float>& values, std::size_t count, float size) {
    values.resize(count);
    for (float& value : values) value = uniform(-size, size);
  }
  std::string word() {
    std::string made;
    for (std::size_t length = 3 + _random() % 4; length > 0; --length) made += "aeknt"[_random() % 5];
    return made;
  }
  std::mt19937 _random;
};

std::vector<float> scoresOf(const LsmMap& map, std::u16string_view words) {
  Text text(map);
  text.addWords(words);
  return evaluate(*map, text);
}

TEST(Evaluation, AgreesWithThePlainCalculation) {
  for (std::uint32_t seed = 1; seed <= 12; ++seed) {
    const std::uint32_t categories = 2 + seed % 3;
    RandomMap given(seed, categories, 3 + seed);
    for (const std::size_t words : {0u, 1u, 2u, 10u, 63u, 64u, 65u, 128u, 129u, 500u}) {
      const std::u16string text = given.text(words);
      const std::vector<float> scores = scoresOf(given.map, text);
      const std::vector<double> expected = reference::scoresOf(*given.map, text);
      ASSERT_EQ(scores.size(), categories);
      for (std::size_t c = 0; c < categories; ++c) {
        EXPECT_NEAR(static_cast<double>(scores[c]), expected[c], 2e-5)
            << "seed " << seed << ", " << words << " words";
      }
    }
  }
}

TEST(Evaluation, AgreesWithThePlainCalculationOnPagesInSections) {
  static constexpr std::u16string_view kMarkers[] = {
      u"ooooooooooooooooooooTITLEoooooooooooooooooooo", u"oooooooooooooooooooooTAGSoooooooooooooooooooo",
      u"oooooooooooooooooDESCRIPTIONooooooooooooooooo", u"oooooooooooooooooooKEYWORDSoooooooooooooooooo",
      u"oooooooooooooooooooIMAGEALTSooooooooooooooooo", u"oooooooooooooooooooLINKTITLESoooooooooooooooo",
      u"oooooooooooooooooooPAGECONTENTooooooooooooooo"};
  for (std::uint32_t seed = 20; seed <= 31; ++seed) {
    const std::uint32_t categories = 2 + seed % 3;
    RandomMap given(seed, categories);
    for (const std::size_t words : {1u, 3u, 20u, 70u, 300u}) {
      std::u16string text = u"ooooooooooooCategory1oooooooooooo\n";
      for (const std::u16string_view marker : kMarkers) {
        text.append(marker).append(u"\n").append(given.text((words * seed + text.size()) % (2 * words + 1)));
        text += u'\n';
      }
      const std::vector<float> scores = scoresOf(given.map, text);
      const std::vector<double> expected = reference::scoresOf(*given.map, text);
      for (std::size_t c = 0; c < categories; ++c) {
        EXPECT_NEAR(static_cast<double>(scores[c]), expected[c], 2e-5)
            << "seed " << seed << ", " << words << " words";
      }
    }
  }
}

TEST(Evaluation, TheSameTextGivesTheSameBits) {
  RandomMap given(5);
  const std::u16string text = given.text(2000);
  const std::vector<float> once = scoresOf(given.map, text);
  EXPECT_EQ(once, scoresOf(given.map, text));
  Text evaluatedTwice(given.map);
  evaluatedTwice.addWords(text);
  (void)evaluate(*given.map, evaluatedTwice);
  EXPECT_EQ(once, evaluate(*given.map, evaluatedTwice));
}

TEST(Evaluation, TextAddedLineByLineGivesTheSameBits) {
  RandomMap given(6);
  const std::u16string text = given.text(2000);
  Text lines(given.map);
  std::size_t from = 0;
  while (from < text.size()) {
    const std::size_t end = std::min(text.find(u'\n', from), text.size());
    lines.addWords(std::u16string_view(text).substr(from, end - from));
    from = end + 1;
  }
  EXPECT_EQ(scoresOf(given.map, text), evaluate(*given.map, lines));
}

TEST(Evaluation, RepeatedLinesCountEachTime) {
  RandomMap given(7);
  const std::u16string line = given.text(6);
  std::u16string sameLine = line;
  sameLine.erase(std::remove(sameLine.begin(), sameLine.end(), u'\n'), sameLine.end());
  std::u16string repeated;
  std::u16string parted;  // an empty line between: nothing to recognise
  for (int i = 0; i < 15; ++i) {
    repeated += sameLine + u"\n";
    parted += sameLine + u"\n\n";
  }
  Text fast(given.map);
  fast.addWords(repeated);
  Text slow(given.map);
  slow.addWords(parted);
  EXPECT_EQ(fast.sequence(), slow.sequence());
  EXPECT_EQ(evaluate(*given.map, fast), evaluate(*given.map, slow));
  for (std::size_t unit = 0; unit < fast.unitCount(); ++unit)
    EXPECT_EQ(fast.frequency(unit), slow.frequency(unit));
}

TEST(Evaluation, EightThreadsOnOneMapAgree) {
  RandomMap given(8);
  const std::u16string text =
      given.text(1500) + u" \u043c\u0438\u0440 \u4e2d\u6587 \u0e44\u0e17\u0e22 e\u0301t\u00e9";
  const std::vector<float> expected = scoresOf(given.map, text);
  std::vector<std::thread> threads;
  std::array<int, 8> failures{};
  for (std::size_t t = 0; t < failures.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 20; ++round) failures[t] += scoresOf(given.map, text) != expected;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int count : failures) EXPECT_EQ(count, 0);
}

TEST(Evaluation, AStretchOfAdultWordsShowsInALongHarmlessText) {
  MapContents contents = tinyMapContents();
  const TinyMapFile file(contents);
  contents.windowPenalty = 1000;  // windows never count
  const TinyMapFile without(contents);
  std::u16string text;
  const auto add = [&text](std::u16string_view word, int times) {
    for (int i = 0; i < times; ++i) text.append(word).append(u" ");
  };
  add(u"weather school garden recipe library football", 200);
  add(u"porn xxx nude erotic", 150);
  add(u"science history teacher homework museum kitchen", 200);
  EXPECT_GT(scoresOf(lsmMapLoad(file.path()), text)[1], 0.9f);
  EXPECT_LT(scoresOf(lsmMapLoad(without.path()), text)[1], 0.5f);
}

TEST(Evaluation, WindowsAreLookedAtFromOneTokenMoreThanTheirSize) {
  MapContents contents = tinyMapContents();
  contents.windowTokens = 64;
  contents.bestWindows = 1;
  contents.windowPenalty = 0;
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  contents.windowPenalty = 1000;
  const TinyMapFile without(contents);
  const LsmMap wholeOnly = lsmMapLoad(without.path());
  std::u16string whole;  // 64 tokens
  for (int i = 0; i < 8; ++i) whole += u"school weather garden recipe football ";
  for (int i = 0; i < 8; ++i) whole += u"porn xxx nude ";
  const std::u16string oneMore = whole + u"erotic";  // the second window has the last 33
  EXPECT_EQ(scoresOf(map, whole), scoresOf(wholeOnly, whole));
  EXPECT_LT(scoresOf(wholeOnly, oneMore)[1], 0.5f);
  EXPECT_GT(scoresOf(map, oneMore)[1], 0.9f);
  EXPECT_EQ(scoresOf(map, whole + u" ab1 ab2 ab3"), scoresOf(map, whole)) << "silent tokens do not count";
}

TEST(Evaluation, ScriptsThatTheMapLeavesOutSayNothing) {
  MapContents contents = tinyMapContents();
  const std::string cyrillic = "\u043f\u043e\u0440\u043d\u043e";
  contents.words.push_back({cyrillic, 0.5f, 3});
  contents.wordRows.insert(contents.wordRows.end(), {0.0f, 0.5f});
  const TinyMapFile open(contents);
  contents.scripts = bitOf(WordScript::kLatin);
  const TinyMapFile gated(contents);
  const std::u16string text = u"\u043f\u043e\u0440\u043d\u043e";
  const std::vector<float> empty = scoresOf(lsmMapLoad(gated.path()), u"");
  EXPECT_GT(scoresOf(lsmMapLoad(open.path()), text)[1], 0.99f);
  EXPECT_EQ(scoresOf(lsmMapLoad(gated.path()), text), empty);
  EXPECT_GT(scoresOf(lsmMapLoad(gated.path()), u"porn")[1], 0.99f);
  EXPECT_NE(scoresOf(lsmMapLoad(gated.path()), u"ooooooooooooCategory2oooooooooooo"), empty) << "never gated";
  Text number(lsmMapLoad(gated.path()));
  number.addWords(u"18");
  EXPECT_EQ(number.unitCount(), 1u);
}

TEST(Evaluation, AFewWordsOnAPageInAScriptThatIsNotJudgedProveNothing) {
  MapContents contents = tinyMapContents();
  contents.scripts = bitOf(WordScript::kLatin);
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  const std::vector<float> empty = scoresOf(map, u"");
  const std::u16string foreign = u"\u05e9\u05dc\u05d5\u05dd ";
  const auto text = [&](std::size_t foreignWords, std::size_t words) {
    std::u16string result;
    for (std::size_t i = 0; i < foreignWords; ++i) result += foreign;
    for (std::size_t i = 0; i < words; ++i) result += u"porn ";
    return result;
  };
  EXPECT_EQ(scoresOf(map, text(3, 2)), empty);
  EXPECT_GT(scoresOf(map, text(3, 3))[1], 0.9f) << "as many";
  EXPECT_EQ(scoresOf(map, text(100, 31)), empty);
  EXPECT_GT(scoresOf(map, text(100, 32))[1], 0.9f) << "many enough";
  EXPECT_EQ(scoresOf(map, foreign + u"18 18 18"), empty) << "numbers are of no script";
  EXPECT_EQ(scoresOf(map, foreign + u"sexy porn xxx\n" + foreign + foreign + foreign), empty);
  const std::u16string line = u"porn xxx nude\n";
  EXPECT_EQ(scoresOf(map, text(5, 0) + u"\n" + line + line + line), empty) << "equal lines count once";
}

}  // namespace
}  // namespace sifterra::lsm
