// timing.h: processor time of pieces of work, for benchmarks that compare them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace sifterra::bench {

// The processor time of this thread: whatever else the machine does does not count.
inline double nowMicroseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

template <class Work>
double microseconds(std::size_t repetitions, const Work& work) {
  const double start = nowMicroseconds();
  for (std::size_t i = 0; i < repetitions; ++i) work();
  return (nowMicroseconds() - start) / static_cast<double>(repetitions);
}

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

inline std::string fileContents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace sifterra::bench
