// Trainer.h: makes a map of pages whose category is known.
//
//   TrainingCorpus corpus;
//   corpus.add(makeTrainingPage(trainingText, filterText, category, site));  // for every page, in order
//   TrainingSummary summary;
//   std::string why;
//   if (auto map = trainMap(corpus, options, summary, why)) writeMapFile(path, *map, why);
//
// A fifth to a quarter of the sites is held back; the rest gives the vocabulary, the weights, the latent
// space and the head, and the sites held back give the operating point. The same pages in the same order give
// the same map, bit for bit, whatever the number of threads.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lsm/training/Calibration.h"
#include "lsm/training/MapWriter.h"
#include "lsm/training/Reduction.h"
#include "lsm/training/TellingWords.h"
#include "lsm/training/TrainingCorpus.h"

namespace sifterra::lsm {

struct TrainingOptions {
  // Of the map, after the directions were folded.
  std::uint32_t rank = 64;
  std::uint32_t latentRank = 128;  // in which the categories are learnt, before the directions are folded
  // Words and buckets cost space and little else: 36000 and 32768 were no better.
  std::size_t maxWords = 20000;  // with the signature words
  std::uint32_t buckets = 16384;
  std::size_t threads = 1;
  // Kept in the map in place of the default threshold; the operating point stays where it is.
  std::optional<float> threshold;
  double calibrationShare = 0.25;
  double lastCalibrationShare = 0.05;  // of the last category, which only shows that calibration went well
  // Of category 1 pages on sites never seen, those that shall be taken for the last category.
  double falsePositiveRate = 0.005;
  double headC = 100;
  double nGramWeight = 1;
  double tuning = 4;  // how freely each word's say is learnt by itself; 0: not at all
  TellingWordOptions tellingWords;
  std::uint32_t windowTokens = 256;
  std::uint32_t bestWindows = 2;
  std::uint32_t partTokens = 10;  // a part of a page is judged from so many on
  // False positives that each kind of stretch may add, against those of whole pages.
  double partShare = 0.1;
  double windowShare = 0.2;
  // A script needs so many pages of category 1 for its words to count; 0: a tenth of them, 20 to 200.
  std::size_t minScriptPages = 0;
  // Of several processes, each with a part of the pages. Process 0 alone makes the map; the others come to
  // none, without a reason.
  const Reduction* reduction = &Reduction::none();
  // Pages of each category on which several processes calibrate, at most.
  std::size_t mostGathered = 20000;
  // Called now and then by the calling thread: what is being done.
  std::function<void(const char* stage)> progress;
};

struct CategorySummary {
  std::size_t teaching = 0;
  std::size_t calibrating = 0;
  std::size_t recognised = 0;  // of the calibrating pages, those that the map puts where they belong
};

// What was learnt.
struct TrainingSummary {
  std::vector<CategorySummary> categories;
  std::size_t sites = 0;
  std::size_t differentWords = 0;  // in all pages
  std::size_t words = 0;           // that the map knows
  std::uint32_t rank = 0;
  std::vector<std::string> scriptsLeftOut;  // that pages are written in, but too few of category 1
  ShareEstimate falsePositives;  // expected share of category 1 pages that are taken for the last category
  double biasShift = 0;
};

// A map, or nothing, with `why`, when the pages do not make one.
[[nodiscard]] std::optional<MapContents> trainMap(TrainingCorpus& corpus, const TrainingOptions& options,
                                                  TrainingSummary& summary, std::string& why);

}  // namespace sifterra::lsm
