// quantised_rows: rows of floats as a map file has them, in eight bits a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sifterra::lsm {

struct QuantisedRows {
  std::vector<std::int8_t> values;  // count x stride
  std::vector<float> scales;        // count
};

// Each row by its own scale, so that the largest value becomes 127: one scale for all, or one a column, would
// leave the small rows with two or three bits.
[[nodiscard]] QuantisedRows quantised(const std::vector<float>& rows, std::size_t count, std::uint32_t rank,
                                      std::uint32_t stride);
// `count` rows as a reader sees them after that.
void roundAsWritten(std::vector<float>& rows, std::size_t count, std::uint32_t rank);

}  // namespace sifterra::lsm
