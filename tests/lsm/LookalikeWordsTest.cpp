// Words of one alphabet in letters of another.
#include "lsm/LookalikeWords.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "lsm/TextWords.h"
#include "lsm/TinyMap.h"

namespace sifterra::lsm {
namespace {

class LookalikeWords : public testing::Test {
 protected:
  LookalikeWords() {
    MapContents contents = tinyMapContents();
    for (const char* word :
         {"sex", "coca", "rucn", "tokio", "\u0441\u0435\u043a\u0441", "\u03c0\u03bf\u03c1\u03bd\u03bf",
          "\u0441\u043e\u0441\u043d\u0430", "\u0430\u0441\u0435"}) {
      tiny::addWord(contents, word, tiny::onAxis(2, 0.5f), 0.5f, 3.0f);
    }
    file.emplace(contents);
    map = lsmMapLoad(file->path());
  }
  std::string readAs(std::u16string_view words) {
    Text text(map);
    text.addWords(words);
    if (text.sequence().size() != 1) return "nothing";
    const std::uint32_t word = text.knownWord(text.sequence()[0]);
    return word == Map::kUnknownWord ? "unknown" : std::string(map->word(word));
  }

  std::optional<TinyMapFile> file;
  LsmMap map;
};

TEST_F(LookalikeWords, AnUnknownWordOfLookalikesIsTheWordThatIsSeen) {
  EXPECT_EQ(readAs(u"\u0455\u0435\u0445"), "sex") << "Cyrillic altogether";
  EXPECT_EQ(readAs(u"\u0421\u041e\u0421\u0410"), "coca") << "in capitals";
  EXPECT_EQ(readAs(u"\u03c4\u03bf\u03ba\u03b9\u03bf"), "tokio") << "Greek";
}

TEST_F(LookalikeWords, CyrillicAndGreekWordsAreFoundInLatinLetters) {
  EXPECT_EQ(readAs(u"ce\u043ac"), "\u0441\u0435\u043a\u0441");
  EXPECT_EQ(readAs(u"\u03c0op\u03bdo"), "\u03c0\u03bf\u03c1\u03bd\u03bf");
  EXPECT_EQ(readAs(u"ace"), "\u0430\u0441\u0435") << "Latin altogether";
}

TEST_F(LookalikeWords, AKnownWordStaysWhatItIs) {
  EXPECT_EQ(readAs(u"\u0441\u0435\u043a\u0441"), "\u0441\u0435\u043a\u0441");
  EXPECT_EQ(readAs(u"coca"), "coca");
}

TEST_F(LookalikeWords, LettersThatAnybodyTellsApartAreNoLookalikes) {
  EXPECT_EQ(readAs(u"\u0433\u0438\u0441\u043f"), "unknown");
  EXPECT_EQ(readAs(u"coc\u0436a"), "unknown");
}

TEST_F(LookalikeWords, AlphabetsThatTheMapDoesNotJudgeAreNotRead) {
  MapContents contents = tinyMapContents();
  tiny::addWord(contents, "\u0430\u0441\u0435", tiny::onAxis(2, 0.5f), 0.5f, 3.0f);
  contents.scripts = bitOf(WordScript::kLatin);
  const TinyMapFile other(contents);
  map = lsmMapLoad(other.path());
  EXPECT_EQ(readAs(u"ace"), "nothing");
}

}  // namespace
}  // namespace sifterra::lsm
