#include "lsm/training/parallel_for.h"

#include <gtest/gtest.h>

namespace sifterra::lsm {
namespace {

TEST(ParallelFor, VisitsEverythingOnceInChunksThatThreadsDoNotMove) {
  for (const std::size_t threads : {1, 2, 8, 100}) {
    for (const std::size_t count : {0, 1, 9, 10, 11, 1000}) {
      std::vector<int> visits(count, 0);
      std::vector<std::size_t> chunks(count, 0);
      parallelFor(threads, count, 10, [&](std::size_t chunk, std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
          ++visits[i];
          chunks[i] = chunk;
        }
      });
      for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(visits[i], 1);
        EXPECT_EQ(chunks[i], i / 10);
      }
    }
  }
}

}  // namespace
}  // namespace sifterra::lsm
