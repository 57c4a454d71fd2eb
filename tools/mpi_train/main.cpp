// sifterra-train-mpi: `sifterra train` by several processes, each of which reads and keeps a part of the
// pages.
//
// With as many files as processes or more, a process reads every n-th file; with fewer, every n-th page of
// all of them. Which process has which page changes nothing but the order of sums.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <optional>
#include <string>

#include "Command.h"
#include "Output.h"
#include "labelled_options.h"
#include "lsm/training/MapInfo.h"
#include "lsm/training/MapWriter.h"
#include "lsm/training/Trainer.h"
#include "mpi_train/MpiReduction.h"
#include "sifterra/sifterra.h"
#include "training/training_pages.h"
#include "training/training_report.h"

namespace sifterra::tools {
namespace {

struct Options {
  LabelledPages pages;
  std::string map;
  std::uint32_t rank = lsm::TrainingOptions().rank;
  std::size_t threads = 1;
  bool traffic = false;
};

// Of a stage: by the clock, and of this process's processors, which others do not slow down.
class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
  }
  [[nodiscard]] double processorSeconds() const {
    return static_cast<double>(std::clock() - _clock) / CLOCKS_PER_SEC;
  }

 private:
  std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
  std::clock_t _clock = std::clock();
};

struct StageTime {
  double seconds = 0;
  double processorSeconds = 0;
  explicit StageTime(const Stopwatch& watch)
      : seconds(watch.seconds()), processorSeconds(watch.processorSeconds()) {}
};

// What all processes have read.
PageCounts readAll(const Options& options, const lsm::Reduction& reduction, lsm::TrainingCorpus& corpus) {
  LabelledPages mine = options.pages;
  PageShare share{reduction.rank(), reduction.size()};
  if (mine.categories.empty() && mine.files.size() >= reduction.size()) {
    share = {};
    mine.files.clear();
    for (std::size_t f = reduction.rank(); f < options.pages.files.size(); f += reduction.size())
      mine.files.push_back(options.pages.files[f]);
  }
  PageCounts counts = readTrainingPages(mine, options.threads, corpus, nullptr, share);
  counts.pages = static_cast<std::size_t>(reduction.sum(static_cast<double>(counts.pages)));
  for (std::size_t& use : counts.uses)
    use = static_cast<std::size_t>(reduction.sum(static_cast<double>(use)));
  return counts;
}

std::string trafficText(const MpiReduction::Traffic& traffic, std::size_t processes, std::size_t pages,
                        const StageTime& reading, const StageTime& training) {
  // The steps of the Gram operator are most of all that is summed.
  std::pair<std::uint64_t, std::uint64_t> steps;
  for (const auto& sums : traffic.sumsBySize) {
    if (sums.first * sums.second > steps.first * steps.second) steps = sums;
  }
  char text[500];
  std::snprintf(
      text, sizeof text,
      "processes: %zu\nread: %.1f s, %.0f pages a second; process 0: %.2f s of processor\n"
      "learnt: %.1f s; process 0: %.2f s of processor\n"
      "summed: %llu times, %llu bytes; of these %llu steps of %llu bytes\nsent besides: %llu bytes\n",
      processes, reading.seconds, static_cast<double>(pages) / reading.seconds, reading.processorSeconds,
      training.seconds, training.processorSeconds, static_cast<unsigned long long>(traffic.sums),
      static_cast<unsigned long long>(traffic.sumBytes), static_cast<unsigned long long>(steps.second),
      static_cast<unsigned long long>(steps.first), static_cast<unsigned long long>(traffic.otherBytes));
  return text;
}

int train(const Options& options, const MpiReduction& reduction) {
  const bool speaks = reduction.rank() == 0;
  if (options.pages.empty()) {
    if (speaks) printError("nothing to learn from: expected --category or a FILE");
    return kExitError;
  }
  lsm::TrainingOptions training;
  training.threads = options.threads;
  training.rank = options.rank;
  training.reduction = &reduction;
  const Stopwatch readingWatch;
  lsm::TrainingCorpus corpus;
  const PageCounts counts = readAll(options, reduction, corpus);
  const StageTime reading(readingWatch);
  const Stopwatch trainingWatch;
  lsm::TrainingSummary summary;
  std::string why;
  const std::optional<lsm::MapContents> map = lsm::trainMap(corpus, training, summary, why);
  if (!speaks) return kExitGood;
  if (!map) {
    const std::string skipped = leftOutText(counts);
    if (!skipped.empty()) std::fputs(skipped.c_str(), stderr);
    printError("no map was made: " + why);
    return kExitError;
  }
  std::optional<lsm::MapInfo> info;
  if (lsm::writeMapFile(options.map, *map, why)) info = lsm::readMapInfo(options.map, why);
  if (!info) {
    printError(options.map + ": " + why);
    return kExitError;
  }
  Output output;
  output.write(trainingReport(counts, summary));
  if (options.traffic) {
    output.write(
        trafficText(reduction.traffic(), reduction.size(), counts.pages, reading, StageTime(trainingWatch)));
  }
  output.write("map: " + options.map + ", " + std::to_string(info->bytes) + " bytes, " + info->checksum +
               "\n");
  return output.finish() && counts.of(Use::kError) == 0 ? kExitGood : kExitError;
}

int run(int argc, char** argv, const MpiReduction& reduction) {
  CLI::App app("Makes a map from pages whose category is known, by several processes (MPI).",
               "sifterra-train-mpi");
  app.footer(
      "Pages are given as to \"sifterra train\". With as many files as processes or more, each process "
      "reads\n"
      "some of the files, else some of the pages of all. The maps of one, two and four processes agree but "
      "for\n"
      "rounding. Process 0 writes the map.\n"
      "\n"
      "Exit status: 0 done, 2 an error.\n"
      "\n"
      "Examples:\n"
      "  mpirun -n 4 sifterra-train-mpi -o new.map shards/*.jsonl.gz\n"
      "  srun sifterra-train-mpi -j 8 -o /shared/new.map /shared/shards/*.jsonl.gz");
  app.set_version_flag("--version", "sifterra-train-mpi " SIFTERRA_VERSION, "Print the version and exit");
  Options options;
  addLabelledOptions(app, options.pages);
  app.add_option("-o,--output", options.map, "The map file to write")->required()->type_name("MAP");
  app.add_option("--rank", options.rank, "Latent dimensions of the map")
      ->type_name("R")
      ->capture_default_str()
      ->check(CLI::Range(2, 512).description(""));
  app.add_option("-j,--jobs", options.threads, "Threads of each process")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(1, 1024).description(""));
  app.add_flag("--traffic", options.traffic, "Also tell times, and what the processes sent each other");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (reduction.rank() != 0) return error.get_exit_code() == 0 ? kExitGood : kExitError;
    return app.exit(error) == 0 ? kExitGood : kExitError;
  }
  return train(options, reduction);
}

}  // namespace
}  // namespace sifterra::tools

int main(int argc, char** argv) {
  const sifterra::tools::MpiSession session(argc, argv);
  const sifterra::tools::MpiReduction reduction;
  try {
    return sifterra::tools::run(argc, argv, reduction);
  } catch (const std::exception& error) {  // memory gave out, or the like: the others would wait for ever
    (void)std::fprintf(stderr, "sifterra-train-mpi: %s\n", error.what());
    sifterra::tools::MpiSession::giveUp();
  }
  return sifterra::tools::kExitError;
}
