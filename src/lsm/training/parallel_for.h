// parallel_for: the chunks of a range, worked on by several threads.
//
// Where the chunks begin depends on the range alone, never on the number of threads; a caller that keeps what
// a chunk gives apart, and puts it together in the order of the chunks, gets the same bits from one thread
// and from eight.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace sifterra::lsm {

// work(chunk, from, to) for every chunk of at most `chunkSize` of [0, count). It must not throw.
template <class Work>
void parallelFor(std::size_t threads, std::size_t count, std::size_t chunkSize, Work work) {
  const std::size_t chunks = (count + chunkSize - 1) / chunkSize;
  std::atomic<std::size_t> next{0};
  const auto run = [&] {
    for (std::size_t chunk = next++; chunk < chunks; chunk = next++) {
      work(chunk, chunk * chunkSize, std::min(count, (chunk + 1) * chunkSize));
    }
  };
  std::vector<std::thread> helpers;
  for (std::size_t i = 1; i < std::min(threads, chunks); ++i) helpers.emplace_back(run);
  run();
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace sifterra::lsm
