// Correction: the least change of a map by which given pages come out right.
//
// Two things may change. The last category's weights in the latent space: they are held by a Gaussian prior
// around what they are, as wide as the pages from which the map was learnt leave them free (Laplace's
// approximation at the pages that the map remembers). And the rows of the words of the given pages, along the
// one direction that tells the last category from the others: each is held the tighter the more of the pages
// the map was learnt from have the word, so that the mean square by which their log-odds move is small.
// So what many pages share hardly moves, and what marks the given pages and pages like them does.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <vector>

#include "lsm/training/MapWriter.h"
#include "lsm/training/PageViews.h"
#include "lsm/training/RememberedPages.h"

namespace sifterra::lsm {

// A given page as the map at hand sees it.
struct CorrectedPage {
  const PageView* view;  // the one that decides, with its words
  double margin;
  bool last;      // it is of the last category
  double weight;  // against a page of the training
};

class Correction {
 public:
  // Of that map, which `contents` are the contents of.
  Correction(const LsmMap& map, const MapContents& contents, const RememberedPages& remembered);

  // Moves on from the change at hand, which the pages' margins are of, to the best one. They are to be more
  // than half a log-odd on their side of the threshold.
  void fit(const std::vector<CorrectedPage>& pages, double threshold);
  // The contents with the change.
  [[nodiscard]] MapContents applied() const;
  // How the log-odds of the pages from which the map was learnt move because of words: on average, those of
  // the last category or the others, and their deviation from that.
  [[nodiscard]] double meanShift(bool last) const;
  [[nodiscard]] double deviation() const;

 private:
  [[nodiscard]] double pagesWith(std::uint32_t word) const;
  // By word: what it adds to the log-odds of a page when its row grows by one, on average over such pages.
  [[nodiscard]] Eigen::VectorXd meansIn(bool last) const;

  const MapContents& _contents;
  LastCategory _last;
  // Of weights and bias, from the pages of the last category and from the others.
  Eigen::MatrixXd _ofLast;
  Eigen::MatrixXd _ofOthers;
  double _lastPages = 0;     // share of the pages that are of the last category
  double _doubt = 0;         // mean of p (1 - p) over the remembered pages
  double _squarePull = 0;    // of a word in a page, on average; 0 before the first fit
  Eigen::VectorXd _head;     // what is added to the last category's weights and bias
  std::vector<bool> _given;  // by word: it stands in a given page
  Eigen::VectorXd _words;    // by word: what is added along the direction
};

}  // namespace sifterra::lsm
