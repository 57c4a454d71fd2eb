// How: pages are read and their words counted by training/training_pages; everything after that is the
// trainer's.
#include "train_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Output.h"
#include "labelled_options.h"
#include "lsm/training/AddedPages.h"
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
  std::string base;  // a map that the pages are added to
  std::vector<std::string> added;
  bool force = false;
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

std::function<void(const char*)> progressOnTerminal() {
  return [terminal = isatty(STDERR_FILENO) == 1](const char* stage) {
    if (terminal) std::fprintf(stderr, "%s ...\n", stage);
  };
}

std::size_t threadsOf(const Options& options) {
  if (options.threads != 0) return options.threads;
  return std::max<std::size_t>(std::thread::hardware_concurrency(), 1);
}

int noMap(const PageCounts& counts, const std::string& why) {
  const std::string skipped = leftOutText(counts);
  if (!skipped.empty()) std::fputs(skipped.c_str(), stderr);
  printError("no map was made: " + why);
  return kExitError;
}

// Writes the map and then the report, with a last line about the file.
int finish(const Options& options, const lsm::MapContents& map, const std::string& report,
           const PageCounts& counts) {
  std::string why;
  std::optional<lsm::MapInfo> info;
  if (lsm::writeMapFile(options.map, map, why)) info = lsm::readMapInfo(options.map, why);
  if (!info) {
    printError(options.map + ": " + why);
    return kExitError;
  }
  Output output;
  output.write(report);
  output.write("map: " + options.map + ", " + std::to_string(info->bytes) + " bytes, " + info->checksum +
               "\n");
  return output.finish() && counts.of(Use::kError) == 0 ? kExitGood : kExitError;
}

int runAddPages(const Options& options) {
  std::error_code ignored;
  if (std::filesystem::equivalent(options.base, options.map, ignored)) {
    printError(options.map + ": is the base; it stays as it is, so that the pages can be taken out again");
    return kExitError;
  }
  std::string why;
  const lsm::LsmMap base = lsm::openBase(options.base, why);
  if (!base) {
    printError(options.base + ": " + why);
    return kExitError;
  }
  LabelledPages pages = options.pages;
  pages.files.insert(pages.files.end(), options.added.begin(), options.added.end());
  lsm::AddedPagesOptions adding;
  adding.threads = threadsOf(options);
  adding.force = options.force;
  adding.baseName = std::filesystem::path(options.base).filename().string();
  adding.progress = progressOnTerminal();
  lsm::TrainingCorpus corpus;
  std::vector<std::string> names;
  const PageCounts counts = readTrainingPages(pages, adding.threads, corpus, &names);
  lsm::AddedPagesSummary summary;
  const std::optional<lsm::MapContents> map = lsm::addPages(base, corpus, adding, summary, why);
  if (!map) return noMap(counts, why);
  if (summary.trained.recall - summary.after.recall > lsm::kToldFall) {
    printError("warning: with these pages the map finds fewer of the pages that it remembers");
  }
  return finish(options, *map, addedPagesReport(counts, corpus, summary, names), counts);
}

int runTrain(const Options& options) {
  if (options.base.empty() && !options.added.empty()) {
    printError("--add-pages needs the map that they are added to: --base MAP");
    return kExitError;
  }
  if (options.pages.empty() && options.added.empty()) {
    printError("nothing to learn from: expected --category or a FILE (see sifterra train --help)");
    return kExitError;
  }
  if (!options.base.empty()) return runAddPages(options);
  lsm::TrainingOptions training;
  training.threads = threadsOf(options);
  training.rank = options.rank;
  training.threshold = parseThreshold(options.threshold);
  training.progress = progressOnTerminal();
  lsm::TrainingCorpus corpus;
  const PageCounts counts = readTrainingPages(options.pages, training.threads, corpus);
  lsm::TrainingSummary summary;
  std::string why;
  const std::optional<lsm::MapContents> map = lsm::trainMap(corpus, training, summary, why);
  if (!map) return noMap(counts, why);
  return finish(options, *map, trainingReport(counts, summary), counts);
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
      "With --base the pages are added to a map that is there already, without the pages that it was made "
      "of:\n"
      "new words are learnt, the map is corrected as little as it takes for the pages to come out right, and "
      "it\n"
      "restricts no more than before of the legitimate pages that it remembers. Pages that still come out\n"
      "wrong are named. When it finds fewer of the remembered pages of the last category, a warning says so; "
      "when\n"
      "it loses more than 2 in 100, no map is written without --force. The base stays as it is: to take "
      "pages "
      "out\n"
      "again, add the others to it.\n"
      "\n"
      "Exit status: 0 done, 2 an error. Pages that cannot be read are named and left out. No map is written\n"
      "when a category has no usable page, or when the map cannot be calibrated.\n"
      "\n"
      "Examples:\n"
      "  sifterra train -o new.map good.jsonl.gz bad.jsonl.gz\n"
      "  sifterra train --category 1=good/ --category 2=bad.warc.gz -o new.map\n"
      "  sifterra train --rank 48 --threshold 0.7 -j 2 -o strict.map pages.jsonl\n"
      "  sifterra train --base school.map --add-pages wrong.jsonl -o better.map");
  addLabelledOptions(command, options->pages);
  command.add_option("-o,--output", options->map, "The map file to write")->required()->type_name("MAP");
  CLI::Option* base =
      command.add_option("--base", options->base, "A map to add the pages to")->type_name("MAP");
  command.add_option("--add-pages", options->added, "Pages to add to the base, as FILE")
      ->type_name("FILE...");
  command.add_flag("--force", options->force, "Write the map even if it finds much less")->needs(base);
  command.add_option("--rank", options->rank, "Latent dimensions of the map")
      ->type_name("R")
      ->capture_default_str()
      ->check(CLI::Range(2, 512).description(""))
      ->excludes(base);
  command.add_option("--threshold", options->threshold, "Score that the last category must exceed")
      ->type_name("auto|X")
      ->capture_default_str()
      ->check(CLI::Validator(
          [](const std::string& value) {
            return value == kAutomatic || parseThreshold(value)
                       ? std::string()
                       : "expected auto or a number between 0 and 1, not " + value;
          },
          ""))
      ->excludes(base);
  command.add_option("-j,--jobs", options->threads, "Threads (one for each core)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  return [options] { return runTrain(*options); };
}

}  // namespace sifterra::tools
