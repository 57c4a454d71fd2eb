// PageSpace: where pages stand in the latent space when they are scored, and the head that tells them apart
// there.
#pragma once

#include <cstdint>
#include <vector>

#include "lsm/WordScript.h"
#include "lsm/training/LatentSpace.h"
#include "lsm/training/LinearHead.h"
#include "lsm/training/TermMatrix.h"
#include "lsm/training/TrainingCorpus.h"
#include "lsm/training/Vocabulary.h"

namespace sifterra::lsm {

class PageSpace {
 public:
  // All but `rows`, u(w) of the table's terms, is borrowed.
  PageSpace(const TrainingCorpus& corpus, const Vocabulary& vocabulary, const TermMatrix& table,
            RowMatrix rows, std::size_t threads);

  enum class Part { kWhole, kRemains };  // of a page: all its words, or those that are not of its main script
  // A unit vector for each page of the table; zero for one of which nothing is known.
  [[nodiscard]] RowMatrix points(Part part) const;
  [[nodiscard]] LinearHead fittedHead(double c) const;
  // Goes over to the directions of an orthonormal basis.
  void project(const RowMatrix& basis) { _rows *= basis; }
  [[nodiscard]] const RowMatrix& rows() const noexcept { return _rows; }

 private:
  [[nodiscard]] WordScript mainScript(const CorpusPage& page) const;
  void addPage(std::size_t page, Part part, RowMatrix& points) const;

  const TrainingCorpus& _corpus;
  const TermMatrix& _table;
  RowMatrix _rows;
  std::vector<WordScript> _scripts;  // of the table's terms
  std::size_t _threads;
};

}  // namespace sifterra::lsm
