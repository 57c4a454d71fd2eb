// AddedPages.h: more pages for a map that was made already, without those that it was made of.
//
//   TrainingCorpus corpus;  // the added pages
//   AddedPagesSummary summary;
//   if (auto map = addPages(base, corpus, {}, summary, why)) ...
//
// New words are folded into the latent space (AddedWords.h), and the least change is made by which the pages
// come out right (Correction.h). Then the operating point is set anew on the pages that the map remembers: it
// restricts no more of those that it should not than before, and it is refused when it finds fewer of the
// others. Pages that still come out wrong count more and more, as long as that holds. The same pages in the
// same order give the same map.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lsm/training/MapWriter.h"
#include "lsm/training/TrainingCorpus.h"

namespace sifterra::lsm {

// Properties of a map: its figures on the pages that it remembers (those when it was trained are in
// remember_pages.h), and what it was made of.
inline constexpr const char* kAddedPagesCount = "Added Pages";
inline constexpr const char* kAddedPagesRecall = "Recall With Added Pages";
inline constexpr const char* kAddedPagesFalsePositives = "False Positives With Added Pages";
inline constexpr const char* kBaseName = "Base";
inline constexpr const char* kBaseChecksum = "Base Checksum";

// Falls of the recall that are told, and that are refused.
inline constexpr double kToldFall = 0.005;
inline constexpr double kRefusedFall = 0.02;
// The most by which words may move the log-odds of other pages, standard deviation.
inline constexpr double kMostWordShift = 0.25;

struct AddedPagesOptions {
  std::size_t threads = 1;
  bool force = false;  // whatever is forgotten
  std::size_t mostNewWords = 4000;
  std::string baseName;  // kept in the map
  std::function<void(const char* stage)> progress;
};

struct AddedPagesSummary {
  std::size_t newWords = 0;
  std::size_t wrongBefore = 0;          // pages that the base gets wrong
  std::vector<std::size_t> stillWrong;  // pages of the corpus
  MapFigures trained;                   // of the map that was trained, before any pages were added
  MapFigures before;                    // of the base
  MapFigures after;
  double wordShift = 0;  // by how much words move the log-odds of other pages, standard deviation
};

// The map that pages are added to; null, with `why`, when the file is none.
[[nodiscard]] LsmMap openBase(const std::string& path, std::string& why);

// The base with the corpus's pages, which may be of any of its categories; nothing, with `why`, when it has
// no memory or would forget too much.
[[nodiscard]] std::optional<MapContents> addPages(const LsmMap& base, const TrainingCorpus& corpus,
                                                  const AddedPagesOptions& options,
                                                  AddedPagesSummary& summary, std::string& why);

}  // namespace sifterra::lsm
