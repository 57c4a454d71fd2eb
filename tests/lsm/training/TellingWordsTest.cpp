// Which words are recognised with a mistake in them.
#include "lsm/training/TellingWords.h"

#include <gtest/gtest.h>

#include <set>

#include "lsm/NearWords.h"
#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

// Twenty pages of each category; every page of the second holds "lesbian" and "webcam".
std::vector<TinyPage> pages(const std::u16string& inTheFirst) {
  std::vector<TinyPage> result;
  for (int i = 0; i < 20; ++i) {
    result.push_back({u"garden kitchen shared " + inTheFirst, 1, "first" + std::to_string(i)});
    result.push_back({u"lesbian webcam xxx shared", 2, "second" + std::to_string(i)});
  }
  return result;
}

class TellingWords {
 public:
  explicit TellingWords(const std::vector<TinyPage>& given, std::uint32_t minPages = 2)
      : _corpus(tinyCorpus(given)), _vocabulary(_corpus, {1000, minPages, kAllWordScripts}) {
    keys = tellingWordKeys(_corpus, _vocabulary, {});
  }
  [[nodiscard]] std::set<std::string> words() const {
    std::set<std::string> result;
    for (const NearKey& key : keys) result.insert(_corpus.words()[_vocabulary.known()[key.word]].text);
    return result;
  }
  [[nodiscard]] bool has(std::string_view spelling) const {
    NearKeys wanted;
    nearKeys(spelling, wanted);
    for (const NearKey& key : keys) {
      for (std::size_t i = 0; i < wanted.count; ++i) {
        if (key.key == wanted.key[i]) return true;
      }
    }
    return false;
  }

  std::vector<NearKey> keys;

 private:
  TrainingCorpus _corpus;
  Vocabulary _vocabulary;
};

TEST(TellingWords, AreLongAndHardlyStandElsewhere) {
  EXPECT_EQ(TellingWords(pages(u"")).words(), (std::set<std::string>{"lesbian", "webcam"}))
      << "xxx is short, shared stands in both";
  EXPECT_EQ(TellingWords(pages(u"webcam")).words(), (std::set<std::string>{"lesbian"}));
}

TEST(TellingWords, AreFoundUnderEveryKey) {
  const TellingWords telling(pages(u""));
  EXPECT_EQ(telling.keys.size(), (1U + 5) + (1U + 4)) << "the word, and without each inner letter";
  for (const char* spelling : {"lesbain", "lebian", "lesbiian", "lesbjan"})
    EXPECT_TRUE(telling.has(spelling));
  EXPECT_FALSE(telling.has("webmail"));
}

TEST(TellingWords, WhatLooksLikeAnHonestWordIsLeftOut) {
  // "lesbiana" would do no harm; "lesbin" is a word of one ordinary page.
  std::vector<TinyPage> given = pages(u"");
  given[0].text += u" lesbin";
  const TellingWords telling(given);
  EXPECT_FALSE(telling.has("lesbin"));
  EXPECT_TRUE(telling.has("lesbain"));
}

}  // namespace
}  // namespace sifterra::lsm
