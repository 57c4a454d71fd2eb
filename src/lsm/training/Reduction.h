// Reduction: what the processes of one training run tell each other.
//
// Training runs in one process, or in several that each hold a part of the pages. Where the code needs to
// know something of all pages it asks here; the default is a single process that knows it already. Every
// process calls the same functions in the same order.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace sifterra::lsm {

class Reduction {
 public:
  Reduction() = default;
  virtual ~Reduction() = default;
  Reduction(const Reduction&) = delete;
  Reduction& operator=(const Reduction&) = delete;

  // Whether there may be others: sums over pages are then made in the space of features, which all share.
  [[nodiscard]] virtual bool distributed() const { return false; }
  [[nodiscard]] virtual std::size_t rank() const { return 0; }
  [[nodiscard]] virtual std::size_t size() const { return 1; }
  // Replaces each value by its sum over all processes; all get the same bits.
  virtual void sum(double* /*values*/, std::size_t /*count*/) const {}
  // What each process gave, by rank; in process 0 alone, empty in the others.
  [[nodiscard]] virtual std::vector<std::string> gather(std::string bytes) const {
    return {std::move(bytes)};
  }
  // What process 0 gave.
  [[nodiscard]] virtual std::string broadcast(std::string bytes) const { return bytes; }
  // parts[i] goes to process i; gives what each process sent here, by rank.
  [[nodiscard]] virtual std::vector<std::string> exchange(std::vector<std::string> parts) const {
    return parts;
  }

  [[nodiscard]] double sum(double value) const {
    sum(&value, 1);
    return value;
  }
  // The one process that there is.
  [[nodiscard]] static const Reduction& none() {
    static const Reduction reduction;
    return reduction;
  }
};

}  // namespace sifterra::lsm
