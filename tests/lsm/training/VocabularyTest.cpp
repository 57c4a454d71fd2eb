#include "lsm/training/Vocabulary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace sifterra::lsm {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

struct Row {
  const char16_t* text;
  std::uint32_t category;
};

TrainingCorpus corpusOf(std::initializer_list<Row> rows) {
  TrainingCorpus corpus;
  std::size_t site = 0;
  for (const Row& row : rows) {
    corpus.add(makeTrainingPage(row.text, row.text, row.category, std::to_string(site++)));
  }
  return corpus;
}

std::vector<std::string> knownWords(const TrainingCorpus& corpus, const Vocabulary& vocabulary) {
  std::vector<std::string> words;
  for (const std::uint32_t word : vocabulary.known()) words.push_back(corpus.words()[word].text);
  return words;
}

// What a word counts as, by name; spelt words with "~" in front.
std::vector<std::string> termsOf(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                                 const char* word) {
  const Vocabulary::Terms terms = vocabulary.terms(corpus.find(word));
  std::vector<std::string> names;
  for (std::size_t i = 0; i < terms.count; ++i) {
    const std::size_t term = terms.first[i];
    const std::size_t known = vocabulary.known().size();
    names.push_back(term < known ? corpus.words()[vocabulary.known()[term]].text
                                 : "~" + corpus.words()[vocabulary.spelt()[term - known]].text);
  }
  return names;
}

TEST(Vocabulary, KnowsWordsOfTwoPagesSorted) {
  const TrainingCorpus corpus =
      corpusOf({{u"zebra apple once", 1}, {u"zebra apple mango", 1}, {u"mango apple", 2}});
  const Vocabulary vocabulary(corpus, {100, 2, kAllWordScripts});
  EXPECT_THAT(knownWords(corpus, vocabulary), ElementsAre("apple", "mango", "zebra"));
  ASSERT_EQ(vocabulary.splitCosts().size(), 3U);
  EXPECT_FLOAT_EQ(vocabulary.splitCosts()[0], 0.0f);
  EXPECT_FLOAT_EQ(vocabulary.splitCosts()[1], static_cast<float>(-std::log(2.0 / 3.0)));
}

TEST(Vocabulary, PrefersWordsThatManyPagesOfSomeCategoryHold) {
  // "small" is in two pages of four, "large" in two of eight: the smaller category counts as much.
  const TrainingCorpus corpus = corpusOf({{u"small x", 2},
                                          {u"small x", 2},
                                          {u"x", 2},
                                          {u"x", 2},
                                          {u"large x", 1},
                                          {u"large x", 1},
                                          {u"x", 1},
                                          {u"x", 1},
                                          {u"x", 1},
                                          {u"x", 1},
                                          {u"x", 1},
                                          {u"x", 1}});
  const Vocabulary vocabulary(corpus, {2, 2, kAllWordScripts});
  EXPECT_THAT(knownWords(corpus, vocabulary), ElementsAre("small", "x"));
}

TEST(Vocabulary, CutsUnknownWordsIntoKnownOnesAndSpellsTheRest) {
  const TrainingCorpus corpus =
      corpusOf({{u"green house greenhouse", 1}, {u"green house unheard", 2}, {u"abc", 1}});
  const Vocabulary vocabulary(corpus, {100, 2, kAllWordScripts});
  EXPECT_THAT(termsOf(corpus, vocabulary, "green"), ElementsAre("green"));
  EXPECT_THAT(termsOf(corpus, vocabulary, "greenhouse"), ElementsAre("green", "house"));
  EXPECT_THAT(termsOf(corpus, vocabulary, "unheard"), ElementsAre("~unheard"));
  EXPECT_THAT(termsOf(corpus, vocabulary, "abc"), ElementsAre());  // too short for n-grams
  EXPECT_EQ(vocabulary.termCount(), 3U);
}

TEST(Vocabulary, LearnsNothingFromPagesThatCalibrate) {
  TrainingCorpus corpus;
  for (int site = 0; site < 8; ++site) {
    const std::u16string text = u"common special" + std::u16string(1, static_cast<char16_t>(u'a' + site));
    corpus.add(makeTrainingPage(text, text, 1 + static_cast<std::uint32_t>(site % 2), std::to_string(site)));
  }
  std::string why;
  ASSERT_TRUE(corpus.split(0.25, 0.25, why)) << why;
  const Vocabulary vocabulary(corpus, {100, 1, kAllWordScripts});
  for (const CorpusPage& page : corpus.pages()) {
    const std::uint32_t special = page.words[1].word;
    EXPECT_EQ(vocabulary.terms(special).count, page.calibrates ? 0U : 1U);
  }
}

TEST(Vocabulary, WordsOfScriptsLeftOutCountNothing) {
  const TrainingCorpus corpus =
      corpusOf({{u"word \u03bb\u03ad\u03be\u03b7 18", 1}, {u"word \u03bb\u03ad\u03be\u03b7 18", 2}});
  const Vocabulary vocabulary(corpus, {100, 2, bitOf(WordScript::kLatin) | bitOf(WordScript::kCommon)});
  EXPECT_THAT(knownWords(corpus, vocabulary), ElementsAre("18", "word"));
  EXPECT_THAT(termsOf(corpus, vocabulary, "\u03bb\u03ad\u03be\u03b7"), ElementsAre());
}

TEST(ScriptGate, CountsPagesOfTheFirstCategoryOnly) {
  const TrainingCorpus corpus = corpusOf({{u"one", 1},
                                          {u"two", 1},
                                          {u"\u03bb\u03ad\u03be\u03b7", 1},
                                          {u"\u03bb\u03ad\u03be\u03b7", 2},
                                          {u"\u0441\u043b\u043e\u0432\u043e", 2}});
  EXPECT_EQ(scriptsWithEnoughPages(corpus, 2), bitOf(WordScript::kCommon) | bitOf(WordScript::kLatin));
  EXPECT_EQ(scriptsWithEnoughPages(corpus, 1),
            bitOf(WordScript::kCommon) | bitOf(WordScript::kLatin) | bitOf(WordScript::kGreek));
  EXPECT_THAT(scriptsLeftOut(corpus, scriptsWithEnoughPages(corpus, 2)),
              UnorderedElementsAre("Greek", "Cyrillic"));
  EXPECT_THAT(scriptsLeftOut(corpus, kAllWordScripts), ElementsAre());
}

TEST(ScriptGate, ATenthOfThePagesWordsMakesAPageOfTheScript) {
  const TrainingCorpus corpus =
      corpusOf({{u"aa bb cc dd ee ff gg hh ii \u03bb", 1}, {u"aa bb cc dd ee ff gg hh ii jj \u03bc", 1}});
  EXPECT_NE(scriptsWithEnoughPages(corpus, 1) & bitOf(WordScript::kGreek), 0U);
  EXPECT_EQ(scriptsWithEnoughPages(corpus, 2) & bitOf(WordScript::kGreek), 0U);
}

}  // namespace
}  // namespace sifterra::lsm
