// TrainingCorpus: all pages of a training run, and which of them teach and which calibrate.
//
// The split is by site, never by page: pages of one site share words that say nothing about other sites, and
// a map calibrated on sites that it knows promises too much. Which sites are held back depends on their names
// alone, not on the order of the pages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lsm/training/TrainingPage.h"

namespace sifterra::lsm {

// A word of the corpus, known by its number.
struct CorpusWord {
  std::string text;
  TokenKind kind;
  WordScript script;
  std::uint8_t characters;

  [[nodiscard]] Token token() const noexcept { return {text, kind, script, characters}; }
};

struct WordCount {
  std::uint32_t word;
  std::uint32_t count;
};

struct CorpusPage {
  std::vector<WordCount> words;
  FoldedText scored;
  std::uint32_t category;  // from 0
  std::uint32_t site;
  bool composed = false;
  bool calibrates = false;
};

class TrainingCorpus {
 public:
  static constexpr std::uint32_t kNoWord = UINT32_MAX;

  // Takes a page of a category from 1; false, and the page left out, when it holds no word.
  bool add(TrainingPage page);
  // Holds back sites with about that share of each category's pages for calibration; composed pages teach,
  // unless a category has no others. False, with `why`, when a category has pages of fewer than two sites and
  // cannot be split.
  [[nodiscard]] bool split(double calibrationShare, double lastShare, std::string& why);

  // For a corpus of which this process holds a part only: pages of a category, from 0, that another one
  // holds.
  void addElsewhere(std::string_view site, std::uint32_t category, std::uint32_t pages, bool composed);
  // The number of a word, which is made known if it is not.
  std::uint32_t know(const CorpusWord& word);
  // Pages that are held back leave.
  void dropHeldBack();
  // Another process's page comes in, without the words that it is made of.
  void addForeign(FoldedText scored, std::uint32_t category, const std::string& site, bool calibrates,
                  bool composed = false);

  [[nodiscard]] const std::vector<CorpusPage>& pages() const noexcept { return _pages; }
  [[nodiscard]] const std::vector<CorpusWord>& words() const noexcept { return _words; }
  [[nodiscard]] std::size_t siteCount() const noexcept { return _sites.size(); }
  [[nodiscard]] const std::string& siteName(std::uint32_t site) const { return _sites[site]; }
  // The highest category that has a page.
  [[nodiscard]] std::uint32_t categoryCount() const noexcept { return _categories; }
  // The number of a word, or kNoWord.
  [[nodiscard]] std::uint32_t find(std::string_view word) const;

 private:
  struct Elsewhere {
    std::uint32_t site;
    std::uint32_t category;
    std::uint32_t pages;
    bool composed;
  };
  [[nodiscard]] std::uint32_t numberOfSite(const std::string& name);
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };
  // Only looked into, never walked: the order of an unordered map is nobody's promise.
  using Numbers = std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>>;

  Numbers _numbers;
  Numbers _siteNumbers;
  std::vector<CorpusWord> _words;
  std::vector<std::string> _sites;
  std::vector<CorpusPage> _pages;
  std::vector<Elsewhere> _elsewhere;
  std::uint32_t _categories = 0;
};

}  // namespace sifterra::lsm
