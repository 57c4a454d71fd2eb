// One body, compiled twice on x86: for every processor and for those with AVX2, picked at run time. Neither
// contracts multiplication and addition, so both give the same bits.
#include "lsm/RowSum.h"

#include <cstring>

#if defined(__x86_64__)
#define SIFTERRA_LSM_AVX2 1
#else
#define SIFTERRA_LSM_AVX2 0
#endif

namespace sifterra::lsm {
namespace {

// Eight values at once, in whatever registers the processor has.
using Bytes = std::int8_t __attribute__((vector_size(8)));
using Words = std::int32_t __attribute__((vector_size(32)));
using Floats = float __attribute__((vector_size(32)));
static_assert(kRowPadding == 8);

#define SIFTERRA_LSM_INLINE inline __attribute__((always_inline))

SIFTERRA_LSM_INLINE void addEight(float* sum, const std::int8_t* values, float factor) {
  Bytes bytes;
  std::memcpy(&bytes, values, sizeof bytes);
  Floats total;
  std::memcpy(&total, sum, sizeof total);
  total += factor * __builtin_convertvector(__builtin_convertvector(bytes, Words), Floats);
  std::memcpy(sum, &total, sizeof total);
}

SIFTERRA_LSM_INLINE void addEight(float* sum, const float* values, float factor) {
  Floats row;
  std::memcpy(&row, values, sizeof row);
  Floats total;
  std::memcpy(&total, sum, sizeof total);
  total += factor * row;
  std::memcpy(sum, &total, sizeof total);
}

SIFTERRA_LSM_INLINE void addRowsBody(float* sum, const WeightedRow* rows, std::size_t count,
                                     std::size_t stride) {
  for (std::size_t i = 0; i < count; ++i) {
    const WeightedRow& row = rows[i];
    if (row.quantised != nullptr) {
      for (std::size_t d = 0; d < stride; d += kRowPadding) addEight(sum + d, row.quantised + d, row.factor);
    } else {
      for (std::size_t d = 0; d < stride; d += kRowPadding) addEight(sum + d, row.plain + d, row.factor);
    }
  }
}

void addRowsAnywhere(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) {
  addRowsBody(sum, rows, count, stride);
}

#if SIFTERRA_LSM_AVX2
__attribute__((target("avx2"))) void addRowsAvx2(float* sum, const WeightedRow* rows, std::size_t count,
                                                 std::size_t stride) {
  addRowsBody(sum, rows, count, stride);
}
#endif

}  // namespace

void addRows(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) noexcept {
#if SIFTERRA_LSM_AVX2
  if (__builtin_cpu_supports("avx2")) {
    addRowsAvx2(sum, rows, count, stride);
    return;
  }
#endif
  addRowsAnywhere(sum, rows, count, stride);
}

void addRow(float* sum, QuantisedRow row, float factor, std::size_t stride) noexcept {
  const WeightedRow one{row.values, nullptr, factor * row.scale};
  addRows(sum, &one, 1, stride);
}

void addRow(float* sum, const float* row, float factor, std::size_t stride) noexcept {
  const WeightedRow one{nullptr, row, factor};
  addRows(sum, &one, 1, stride);
}

}  // namespace sifterra::lsm
