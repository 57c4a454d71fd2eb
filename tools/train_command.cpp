// How: pages are read and their words counted by training/training_pages; everything after that is the
// trainer's.
#include "train_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Output.h"
#include "labelled_options.h"
#include "lsm/training/MapInfo.h"
#include "lsm/training/MapWriter.h"
#include "lsm/training/Trainer.h"
#include "training/training_pages.h"
#include "training/training_report.h"

namespace sifterra::tools {
namespace {

constexpr const char* kAutomatic = "auto";

struct Options {
  LabelledPages pages;
  std::string map;
  std::uint32_t rank = lsm::TrainingOptions().rank;
  std::string threshold = kAutomatic;
  std::size_t threads = 0;  // 0: one for each core
};

// A threshold between 0 and 1; nothing for any other text.
std::optional<float> parseThreshold(const std::string& text) {
  try {
    std::size_t read = 0;
    const float value = std::stof(text, &read);
    if (read == text.size() && value > 0 && value < 1) return value;
  } catch (const std::exception&) {
    // no number, or none that a float holds
  }
  return std::nullopt;
}

int runTrain(const Options& options) {
  if (options.pages.empty()) {
    printError("nothing to learn from: expected --category or a FILE (see sifterra train --help)");
    return kExitError;
  }
  const std::size_t cores = std::thread::hardware_concurrency();
  lsm::TrainingOptions training;
  training.threads = options.threads != 0 ? options.threads : std::max<std::size_t>(cores, 1);
  training.rank = options.rank;
  training.threshold = parseThreshold(options.threshold);
  const bool terminal = isatty(STDERR_FILENO) == 1;
  training.progress = [terminal](const char* stage) {
    if (terminal) std::fprintf(stderr, "%s ...\n", stage);
  };
  lsm::TrainingCorpus corpus;
  const PageCounts counts = readTrainingPages(options.pages, training.threads, corpus);
  lsm::TrainingSummary summary;
  std::string why;
  const std::optional<lsm::MapContents> map = lsm::trainMap(corpus, training, summary, why);
  if (!map) {
    const std::string skipped = leftOutText(counts);
    if (!skipped.empty()) std::fputs(skipped.c_str(), stderr);
    printError("no map was made: " + why);
    return kExitError;
  }
  if (!lsm::writeMapFile(options.map, *map, why)) {
    printError(options.map + ": " + why);
    return kExitError;
  }
  const std::optional<lsm::MapInfo> info = lsm::readMapInfo(options.map, why);
  if (!info) {
    printError(options.map + ": " + why);
    return kExitError;
  }
  Output output;
  output.write(trainingReport(counts, summary));
  output.write("map: " + options.map + ", " + std::to_string(info->bytes) + " bytes, " + info->checksum +
               "\n");
  return output.finish() && counts.of(Use::kError) == 0 ? kExitGood : kExitError;
}

}  // namespace

Action defineTrainCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "The pages' categories are known: from a folder or archive for each (--category 2=adult/), or from\n"
      "JSON lines that hold \"label\". Categories are numbered from 1 without a gap; the last one is the "
      "one\n"
      "that will be restricted.\n"
      "\n"
      "A site is the \"site\" of a JSON line, the host, the first folder below DIR, or else the file. About "
      "a\n"
      "quarter of them, a twentieth of those of the last category, are kept from training; on their pages\n"
      "the map is calibrated, so that a score of 0.62 restricts\n"
      "few pages of category 1. A map with --threshold X keeps that calibration and restricts above X.\n"
      "\n"
      "The same pages and options make the same map, bit for bit, whatever the number of threads.\n"
      "\n"
      "Exit status: 0 done, 2 an error. Pages that cannot be read are named and left out. No map is written\n"
      "when a category has no usable page, or when the map cannot be calibrated.\n"
      "\n"
      "Examples:\n"
      "  sifterra train -o new.map good.jsonl.gz bad.jsonl.gz\n"
      "  sifterra train --category 1=good/ --category 2=bad.warc.gz -o new.map\n"
      "  sifterra train --rank 48 --threshold 0.7 -j 2 -o strict.map pages.jsonl");
  addLabelledOptions(command, options->pages);
  command.add_option("-o,--output", options->map, "The map file to write")->required()->type_name("MAP");
  command.add_option("--rank", options->rank, "Latent dimensions of the map")
      ->type_name("R")
      ->capture_default_str()
      ->check(CLI::Range(2, 512).description(""));
  command.add_option("--threshold", options->threshold, "Score that the last category must exceed")
      ->type_name("auto|X")
      ->capture_default_str()
      ->check(CLI::Validator(
          [](const std::string& value) {
            return value == kAutomatic || parseThreshold(value)
                       ? std::string()
                       : "expected auto or a number between 0 and 1, not " + value;
          },
          ""));
  command.add_option("-j,--jobs", options->threads, "Threads (one for each core)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  return [options] { return runTrain(*options); };
}

}  // namespace sifterra::tools
