// RowSum.h: sums of weighted rows, the loop that evaluation spends its time in.
//
// A sum is built row by row in the order given and value by value, each with one multiplication and one
// addition; how many values the processor takes at once does not change a bit of the result.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sifterra::lsm {

// Rows are padded with zeros to a multiple of this, so that loops over them need no remainder.
inline constexpr std::uint32_t kRowPadding = 8;

// One row of a weighted sum, of either kind.
struct WeightedRow {
  const std::int8_t* quantised;  // null: `plain` is the row
  const float* plain;
  float factor;  // with the row's scale multiplied in
};

// Asks for a row of so many bytes ahead of its use: the processor does not wait, and does by itself not guess
// that a second line follows the first.
inline void fetchRow(const std::int8_t* values, std::size_t stride) noexcept {
  constexpr std::size_t kLine = 64;
  for (std::size_t at = 0; at < stride; at += kLine) __builtin_prefetch(values + at);
}

// sum[d] += factor * value[d] for each row in order; `stride` values, a multiple of kRowPadding.
void addRows(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) noexcept;
// The same with nothing that a special processor offers: what other processors do, and what tests compare
// with.
void addRowsPlainly(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) noexcept;

}  // namespace sifterra::lsm
