// TunedScores: what each word and n-gram says about the categories, learnt word by word.
//
// The latent space gives words that are used alike the same say, which is what makes a few thousand pages
// enough. It also gives a word that tells the categories apart the say of its harmless company. So the say of
// every feature is learnt once more by itself, as a logistic regression on the features, drawn towards what
// the latent space says of it: where the pages tell nothing of a word, that stays.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "lsm/training/LatentSpace.h"
#include "lsm/training/PageSpace.h"
#include "lsm/training/TermMatrix.h"

namespace sifterra::lsm {

struct TuningOptions {
  double c = 10;  // what an example's loss counts against half the squared distance from the start
  std::size_t threads = 1;
};

// z of category c + 1 against category 1, before the bias: the sum over a text's features of their scores,
// over the text's length.
struct TunedScores {
  RowMatrix features;    // features x (categories - 1)
  Eigen::VectorXd bias;  // categories - 1
  int steps = 0;         // of Newton's method
};

// `start`: where the scores begin and what they are drawn to. `lengths`: of each example, in the latent
// space.
[[nodiscard]] TunedScores tunedScores(const TermMatrix& table, const Examples& examples,
                                      const std::vector<double>& lengths, TunedScores start,
                                      const TuningOptions& options);

}  // namespace sifterra::lsm
