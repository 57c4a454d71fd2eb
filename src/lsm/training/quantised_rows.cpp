#include "lsm/training/quantised_rows.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace sifterra::lsm {

QuantisedRows quantised(const std::vector<float>& rows, std::size_t count, std::uint32_t rank,
                        std::uint32_t stride) {
  // Below this the inverse of the scale is no longer finite; such a row says nothing.
  constexpr float kSmallest = 1e-30f;
  QuantisedRows result;
  result.values.assign(count * stride, 0);
  result.scales.assign(count, 0);
  for (std::size_t i = 0; i < count; ++i) {
    const std::span<const float> row(rows.data() + i * rank, rank);
    float most = 0;
    for (const float value : row) most = std::max(most, std::fabs(value));
    if (most < kSmallest) continue;
    const float scale = most / 127.0f;
    result.scales[i] = scale;
    for (std::size_t d = 0; d < rank; ++d) {
      const long value = std::lround(row[d] / scale);
      result.values[i * stride + d] = static_cast<std::int8_t>(std::clamp(value, -127L, 127L));
    }
  }
  return result;
}
void roundAsWritten(std::vector<float>& rows, std::size_t count, std::uint32_t rank) {
  const QuantisedRows written = quantised(rows, count, rank, rank);
  for (std::size_t i = 0; i < rows.size(); ++i)
    rows[i] = static_cast<float>(written.values[i]) * written.scales[i / rank];
}

}  // namespace sifterra::lsm
