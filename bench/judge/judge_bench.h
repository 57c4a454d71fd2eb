// judge_bench.h: what the benchmarks of the judgement share: their command line, the pages of examples/, the
// map that is measured, and the bare parse that everything is compared with.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace sifterra::bench {

struct JudgeOptions {
  std::size_t rounds = 0;
  std::size_t largest = std::size_t{32} << 20;  // bytes of the largest page
  std::string map{};                            // empty: the library's own
  std::string json{};                           // empty: only the table is printed
};

// Of the command line; ends the program with status 2 when there is something else on it than
// [--rounds N] [--largest BYTES] [--map FILE] [--benchmark_out=FILE] and other options of Google's
// benchmarks.
[[nodiscard]] JudgeOptions parseArguments(int argc, char** argv, std::size_t usualRounds);

// The file of the map to measure; "", after a message, when it cannot be loaded. Silences the parser's own
// messages.
[[nodiscard]] std::string mapToMeasure(const JudgeOptions& options);

// The example pages' files, in the order of their names.
[[nodiscard]] std::vector<std::filesystem::path> examplePages();

// Parses UTF-8 with the judge's options, and nothing more.
void bareParse(const std::string& bytes);

}  // namespace sifterra::bench
