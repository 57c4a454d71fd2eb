// The loop twice: for every processor, and with AVX2 where a look at the running one finds it. Both take the
// rows in order and each value with one multiplication and one addition (no contraction), so both give the
// same bits.
//
// A block of values stays in registers while all rows pass; rows are fetched ahead, for they lie anywhere in
// some megabytes.
#include "lsm/RowSum.h"

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace sifterra::lsm {
namespace {

static_assert(kRowPadding == 8);

// Rows ahead that are fetched.
constexpr std::size_t kAhead = 12;

inline void fetch(const WeightedRow& row, std::size_t stride) noexcept {
  if (row.quantised != nullptr) fetchRow(row.quantised, stride);
}

void addRowsAnywhere(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    if (i + kAhead < count) fetch(rows[i + kAhead], stride);
    const WeightedRow& row = rows[i];
    for (std::size_t d = 0; d < stride; d += kRowPadding) {
      float values[kRowPadding];
      for (std::size_t k = 0; k < kRowPadding; ++k) {
        values[k] = row.quantised != nullptr ? static_cast<float>(row.quantised[d + k]) : row.plain[d + k];
      }
      for (std::size_t k = 0; k < kRowPadding; ++k) sum[d + k] += row.factor * values[k];
    }
  }
}

#if defined(__x86_64__)
// Without FMA: it would round once where the other loop rounds twice.
#define SIFTERRA_LSM_AVX2 __attribute__((target("avx2,no-fma")))

SIFTERRA_LSM_AVX2 inline __m256 eightValues(const WeightedRow& row, std::size_t from) noexcept {
  if (row.quantised == nullptr) return _mm256_loadu_ps(row.plain + from);
  const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row.quantised + from));
  return _mm256_cvtepi32_ps(_mm256_cvtepi8_epi32(bytes));
}

// 8 x kVectors values, from `from` on. Only the first block fetches ahead: it fetches whole rows.
template <std::size_t kVectors>
SIFTERRA_LSM_AVX2 void addBlock(float* sum, const WeightedRow* rows, std::size_t count, std::size_t from,
                                std::size_t stride) noexcept {
  __m256 total[kVectors];
#pragma GCC unroll 12
  for (std::size_t v = 0; v < kVectors; ++v) total[v] = _mm256_loadu_ps(sum + from + 8 * v);
  for (std::size_t i = 0; i < count; ++i) {
    if (from == 0 && i + kAhead < count) fetch(rows[i + kAhead], stride);
    const __m256 factor = _mm256_set1_ps(rows[i].factor);
#pragma GCC unroll 12
    for (std::size_t v = 0; v < kVectors; ++v) {
      total[v] = _mm256_add_ps(total[v], _mm256_mul_ps(factor, eightValues(rows[i], from + 8 * v)));
    }
  }
#pragma GCC unroll 12
  for (std::size_t v = 0; v < kVectors; ++v) _mm256_storeu_ps(sum + from + 8 * v, total[v]);
}

// Twelve of the sixteen registers hold totals, so that rows of 96 values pass once.
SIFTERRA_LSM_AVX2 void addRowsAvx2(float* sum, const WeightedRow* rows, std::size_t count,
                                   std::size_t stride) noexcept {
  std::size_t from = 0;
  for (; from + 96 <= stride; from += 96) addBlock<12>(sum, rows, count, from, stride);
  for (; from + 32 <= stride; from += 32) addBlock<4>(sum, rows, count, from, stride);
  for (; from < stride; from += 8) addBlock<1>(sum, rows, count, from, stride);
}
#endif

}  // namespace

void addRows(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) noexcept {
#if defined(__x86_64__)
  static const bool hasAvx2 = __builtin_cpu_supports("avx2") != 0;
  if (hasAvx2) {
    addRowsAvx2(sum, rows, count, stride);
    return;
  }
#endif
  addRowsAnywhere(sum, rows, count, stride);
}

void addRowsPlainly(float* sum, const WeightedRow* rows, std::size_t count, std::size_t stride) noexcept {
  addRowsAnywhere(sum, rows, count, stride);
}

}  // namespace sifterra::lsm
