// MpiReduction: what processes tell each other, over MPI.
#pragma once

#include <cstdint>
#include <map>

#include "lsm/training/Reduction.h"

namespace sifterra::tools {

// Between construction and end of this object MPI is initialised, and one thread alone calls it.
class MpiSession {
 public:
  MpiSession(int& argc, char**& argv);
  ~MpiSession();
  // Ends all processes with status 2.
  static void giveUp();
  MpiSession(const MpiSession&) = delete;
  MpiSession& operator=(const MpiSession&) = delete;
};

class MpiReduction final : public lsm::Reduction {
 public:
  using lsm::Reduction::sum;
  MpiReduction();

  [[nodiscard]] bool distributed() const override { return true; }
  [[nodiscard]] std::size_t rank() const override { return static_cast<std::size_t>(_rank); }
  [[nodiscard]] std::size_t size() const override { return static_cast<std::size_t>(_size); }
  void sum(double* values, std::size_t count) const override;
  [[nodiscard]] std::vector<std::string> gather(std::string bytes) const override;
  [[nodiscard]] std::string broadcast(std::string bytes) const override;
  [[nodiscard]] std::vector<std::string> exchange(std::vector<std::string> parts) const override;

  // What this process has sent so far: to sum, and else.
  struct Traffic {
    std::uint64_t sums = 0;                             // calls
    std::uint64_t sumBytes = 0;                         // values of these
    std::map<std::uint64_t, std::uint64_t> sumsBySize;  // calls by the bytes of each
    std::uint64_t otherBytes = 0;
  };
  [[nodiscard]] const Traffic& traffic() const noexcept { return _traffic; }

 private:
  int _rank = 0;
  int _size = 1;
  mutable Traffic _traffic;
};

}  // namespace sifterra::tools
