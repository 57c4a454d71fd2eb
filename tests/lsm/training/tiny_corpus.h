// tiny_corpus: pages made of word lists, enough of them to train a small map in a moment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lsm/training/Trainer.h"

namespace sifterra::lsm {

struct TinyPage {
  std::u16string text;  // sections as a training text has them, a signature word in front
  std::uint32_t category;
  std::string site;
  bool composed = false;
};

// Pages of two or more categories: each draws from words of its category and from words that all share.
// The same arguments give the same pages. Sites hold three pages each.
[[nodiscard]] std::vector<TinyPage> tinyPages(std::size_t pagesPerCategory, std::uint32_t categories = 2,
                                              std::uint64_t seed = 1);
// The n-th word of a category; category 0 has the shared words.
[[nodiscard]] std::u16string tinyWord(std::uint32_t category, std::size_t number);
inline constexpr std::size_t kTinyWords = 40;  // of each category

[[nodiscard]] TrainingCorpus tinyCorpus(const std::vector<TinyPage>& pages);
// Small enough for a test.
[[nodiscard]] TrainingOptions tinyOptions();
// A map of two categories that tells tinyPages() apart.
[[nodiscard]] MapContents trainTinyMap();

}  // namespace sifterra::lsm
