// map_checks.h: the tests that a map's tables have in common. What they let pass is safe to read as far as it
// was told to go, and small enough to be added up.
#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>

namespace sifterra::lsm {

// The most that a number of the head or of a word may be.
inline constexpr float kMaxHead = 1e6f;

template <class T>
[[nodiscard]] bool hasSize(const flatbuffers::Vector<T>* vector, std::uint64_t size) noexcept {
  return vector != nullptr && vector->size() == size;
}

// The verifier looks where a vector's length stands, which is enough for values of four bytes only.
[[nodiscard]] inline bool isAligned(const std::uint64_t* values) noexcept {
  return reinterpret_cast<std::uintptr_t>(values) % alignof(std::uint64_t) == 0;
}

// Not-a-number lies in no range.
[[nodiscard]] inline bool allWithin(const float* values, std::size_t count, float least,
                                    float most) noexcept {
  bool all = true;
  for (std::size_t i = 0; i < count; ++i) all &= values[i] >= least && values[i] <= most;
  return all;
}

}  // namespace sifterra::lsm
