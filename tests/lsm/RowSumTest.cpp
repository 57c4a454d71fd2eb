// The sum of rows, which is most of what an evaluation computes.
#include "lsm/RowSum.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace sifterra::lsm {
namespace {

TEST(RowSum, EveryProcessorGetsTheSameBits) {
  std::mt19937 random(11);
  for (const std::size_t stride : {8u, 16u, 24u, 32u, 40u, 48u, 64u, 96u, 104u, 136u, 192u}) {
    std::vector<std::int8_t> bytes(100 * stride);
    for (std::int8_t& value : bytes) value = static_cast<std::int8_t>(random() % 255 - 127);
    std::vector<float> floats(100 * stride);
    for (float& value : floats) value = std::uniform_real_distribution<float>(-3, 3)(random);
    std::vector<WeightedRow> rows;
    for (std::size_t i = 0; i < 100; ++i) {
      const float factor = std::uniform_real_distribution<float>(0, 1)(random);
      rows.push_back(i % 3 == 0 ? WeightedRow{nullptr, floats.data() + i * stride, factor}
                                : WeightedRow{bytes.data() + i * stride, nullptr, factor});
    }
    std::vector<float> fast(stride, 0.25f);
    std::vector<float> plain(stride, 0.25f);
    addRows(fast.data(), rows.data(), rows.size(), stride);
    addRowsPlainly(plain.data(), rows.data(), rows.size(), stride);
    EXPECT_EQ(fast, plain) << stride;
  }
}

}  // namespace
}  // namespace sifterra::lsm
