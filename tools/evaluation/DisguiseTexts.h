// DisguiseTexts: what a disguiser draws on: which words tell an adult page, and ordinary text to hide among.
//
// Both come from the labelled pages of the evaluation and not from a map: two maps are measured by the same
// disguised pages, and no map is spared the words that it knows best.
//
// A word tells when at least two adult pages hold it and its share of the adult pages is three times that of
// the legitimate ones. Ordinary text comes from legitimate pages in which such words are rare.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "evaluation/word_runs.h"

namespace sifterra::tools {

struct OrdinaryPage {
  std::string title;
  std::string description;
  std::string keywords;
  std::string text;
};

class DisguiseTexts {
 public:
  // Adds every page of the evaluation, in a fixed order; `language` is "" when it is not known.
  void add(std::string_view html, const std::string& language, bool adult);
  // Once, when all are added.
  void finish();

  [[nodiscard]] bool tells(const std::string& wordKey) const { return telling_.contains(wordKey); }
  // Whether ordinary text was found at all.
  [[nodiscard]] bool hasOrdinaryPages() const { return !ordinary_.empty(); }
  // One of the ordinary pages, of that language if there are any, chosen by the number; `titled` wants one
  // with a title.
  [[nodiscard]] const OrdinaryPage& ordinaryPage(const std::string& language, std::uint64_t number) const;
  // At least so many bytes of ordinary text in paragraphs, from pages one after the other.
  [[nodiscard]] std::string ordinaryText(const std::string& language, std::uint64_t number,
                                         std::size_t bytes) const;

 private:
  struct Counts {
    std::uint32_t adult = 0;
    std::uint32_t legitimate = 0;
  };
  [[nodiscard]] bool isOrdinary(const OrdinaryPage& page) const;
  [[nodiscard]] const std::vector<std::size_t>& choice(const std::string& language) const;

  std::unordered_map<std::string, Counts> counts_;  // pages that hold a word
  std::uint32_t adultPages_ = 0;
  std::uint32_t legitimatePages_ = 0;
  std::vector<std::pair<OrdinaryPage, std::string>> candidates_;  // and their language
  std::unordered_set<std::string> telling_;
  std::vector<OrdinaryPage> ordinary_;
  std::map<std::string, std::vector<std::size_t>> byLanguage_;  // "": all of them
};

}  // namespace sifterra::tools
