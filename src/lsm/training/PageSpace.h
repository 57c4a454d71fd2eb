// PageSpace: where pages stand in the latent space when they are scored, and the head that tells them apart
// there.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "lsm/WordScript.h"
#include "lsm/training/LatentSpace.h"
#include "lsm/training/LinearHead.h"
#include "lsm/training/TermMatrix.h"
#include "lsm/training/TrainingCorpus.h"
#include "lsm/training/Vocabulary.h"

namespace sifterra::lsm {

// What the categories are learnt from: pages as they are scored, and what every map must get right.
struct Examples {
  SparseRows terms;  // log2(1 + tf), one example a row, by the table's terms
  std::vector<std::uint32_t> categories;
  std::vector<double> weights;
};

class PageSpace {
 public:
  // All but `rows`, u(w) of the table's terms, is borrowed.
  PageSpace(const TrainingCorpus& corpus, const Vocabulary& vocabulary, const TermMatrix& table,
            RowMatrix rows, std::size_t threads);

  enum class Part { kWhole, kRemains };  // of a page: all its words, or those that are not of its main script
  // A unit vector for each page of the table; zero for one of which nothing is known.
  [[nodiscard]] RowMatrix points(Part part) const;
  [[nodiscard]] const Examples& examples() const noexcept { return _examples; }
  // Where the examples stand, before they are brought to length 1.
  [[nodiscard]] RowMatrix examplePoints() const;
  [[nodiscard]] LinearHead fittedHead(double c) const;
  // Goes over to the directions of an orthonormal basis.
  void project(const RowMatrix& basis) { _rows *= basis; }
  void setRows(RowMatrix rows) { _rows = std::move(rows); }
  [[nodiscard]] const RowMatrix& rows() const noexcept { return _rows; }

 private:
  [[nodiscard]] WordScript mainScript(const CorpusPage& page) const;
  using Entries = std::vector<Eigen::Triplet<double>>;
  void fillExamples();
  void addExample(std::uint32_t category, double weight);
  void addPageExamples(std::size_t page, Entries& entries);
  void addPage(std::size_t page, Part part, RowMatrix& points) const;

  const TrainingCorpus& _corpus;
  const TermMatrix& _table;
  RowMatrix _rows;
  Examples _examples;
  std::vector<WordScript> _scripts;  // of the table's terms
  std::size_t _threads;
};

}  // namespace sifterra::lsm
