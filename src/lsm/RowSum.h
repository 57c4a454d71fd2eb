// RowSum.h: sums of weighted rows, the loop that evaluation spends its time in.
//
// A sum is built row by row in the order of the calls and value by value, each with one multiplication and
// one addition; how many values the processor takes at once does not change a bit of the result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lsm/MapFile.h"

namespace sifterra::lsm {

// sum[i] += factor * row.scale * row.values[i], for `stride` values: a multiple of kRowPadding.
void addRow(float* sum, QuantisedRow row, float factor, std::size_t stride) noexcept;
// sum[i] += factor * row[i].
void addRow(float* sum, const float* row, float factor, std::size_t stride) noexcept;

// One row of a weighted sum, of either kind.
struct WeightedRow {
  const std::int8_t* quantised;  // null: `plain` is the row
  const float* plain;
  float factor;  // with the row's scale multiplied in
};
// Adds the rows in order.
void addRows(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) noexcept;

}  // namespace sifterra::lsm
