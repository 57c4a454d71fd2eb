// How: pages are read and their words counted by several threads and handed to the trainer in the order of
// the input, so that the same command makes the same map; everything after that is the trainer's.
#include "train_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Output.h"
#include "ProgressBar.h"
#include "category_option.h"
#include "input/PageSource.h"
#include "lsm/training/MapInfo.h"
#include "lsm/training/MapWriter.h"
#include "lsm/training/Trainer.h"
#include "ordered_parallel.h"
#include "page_text.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "sifterra/text/WFWebPageToTrainingText.h"

namespace sifterra::tools {
namespace {

constexpr const char* kAutomatic = "auto";

struct Options {
  std::vector<std::string> files;
  std::vector<std::string> categories;
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

// Folders first, as they were given, then the self-labelled files.
class Input {
 public:
  explicit Input(const Options& options) {
    for (const std::string& value : options.categories) {
      const CategoryFolder folder = *parseCategoryFolder(value);
      _parts.push_back({folder.category, std::make_unique<PageSources>(std::vector{folder.folder})});
    }
    if (!options.files.empty()) _parts.push_back({0, std::make_unique<PageSources>(options.files)});
  }

  std::optional<PageItem> next() {
    for (; _at < _parts.size(); ++_at) {
      std::optional<PageItem> item = _parts[_at].pages->next();
      if (!item) continue;
      if (_parts[_at].category != 0) item->page.label = _parts[_at].category;
      if (!item->error && item->page.label == 0)
        item->error = item->page.name() + ": tells no category (\"label\")";
      return item;
    }
    return std::nullopt;
  }
  // Only by the thread that calls next().
  [[nodiscard]] std::pair<std::uint64_t, std::uint64_t> progress() const {
    std::uint64_t read = 0;
    std::uint64_t total = 0;
    for (const Part& part : _parts) {
      read += part.pages->bytesRead();
      total += part.pages->bytesTotal();
    }
    return {read, total};
  }

 private:
  struct Part {
    int category;  // 0: the pages tell their own
    std::unique_ptr<PageSources> pages;
  };
  std::vector<Part> _parts;
  std::size_t _at = 0;
};

// What a page came to.
enum class Use { kTaken, kError, kTooLittle, kFrameset, kRefresh, kNoWords };

struct Prepared {
  Use use = Use::kTaken;
  std::string error;
  lsm::TrainingPage page;
  std::pair<std::uint64_t, std::uint64_t> progress;
};

struct Reading {
  PageItem item;
  std::pair<std::uint64_t, std::uint64_t> progress;
};

// Pages that are never scored when the map is used teach nothing.
Use useOf(const WFWebPageToFilterText& page) {
  std::int32_t evidence = 0;
  platform::String message;
  if (page.selfRestricted() || page.isWorthAnalyzingWithEvidence(evidence, message)) return Use::kTaken;
  if (evidence == WFWebPageToFilterText::kFrameset) return Use::kFrameset;
  if (evidence == WFWebPageToFilterText::kShortRefresh) return Use::kRefresh;
  return Use::kTooLittle;
}

Prepared prepare(Reading reading) {
  Prepared prepared;
  prepared.progress = reading.progress;
  if (reading.item.error) {
    prepared.use = Use::kError;
    prepared.error = *reading.item.error;
    return prepared;
  }
  const PageRecord& record = reading.item.page;
  const platform::String text = decodedText(record, "");
  const auto filterText = WFWebPageToFilterText::webPageWithString(text);
  prepared.use = useOf(*filterText);
  if (prepared.use != Use::kTaken) return prepared;
  const auto trainingText = WFWebPageToTrainingText::webPageWithString(text);
  trainingText->setCategorySignature(WFWebPageToTrainingText::signatureForCategory(record.label));
  prepared.page = lsm::makeTrainingPage(trainingText->plainText().view(), filterText->plainText().view(),
                                        static_cast<std::uint32_t>(record.label), record.site);
  return prepared;
}

struct Counts {
  std::size_t pages = 0;
  std::array<std::size_t, 6> uses{};  // by Use

  [[nodiscard]] std::size_t of(Use use) const { return uses[static_cast<std::size_t>(use)]; }
};

Counts readPages(const Options& options, std::size_t threads, lsm::TrainingCorpus& corpus) {
  Input input(options);
  ProgressBar bar;
  Counts counts;
  const auto produce = [&]() -> std::optional<Reading> {
    std::optional<PageItem> item = input.next();
    if (!item) return std::nullopt;
    return Reading{std::move(*item), input.progress()};
  };
  const auto consume = [&](Prepared prepared) {
    bar.update(++counts.pages, prepared.progress.first, prepared.progress.second);
    if (prepared.use == Use::kError) {
      bar.hide();
      printError(prepared.error);
    } else if (prepared.use == Use::kTaken && !corpus.add(std::move(prepared.page))) {
      prepared.use = Use::kNoWords;
    }
    ++counts.uses[static_cast<std::size_t>(prepared.use)];
    return true;
  };
  orderedParallel(
      threads, produce, [](Reading reading) { return prepare(std::move(reading)); }, consume);
  return counts;
}

std::string plural(std::size_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// What was left out and why, one line; "" when nothing was.
std::string leftOut(const Counts& counts) {
  struct Reason {
    Use use;
    const char* text;
  };
  constexpr Reason kReasons[] = {
      {Use::kError, "could not be read"},  {Use::kTooLittle, "with too little content"},
      {Use::kFrameset, "with a frameset"}, {Use::kRefresh, "with a short refresh"},
      {Use::kNoWords, "without a word"},
  };
  std::string list;
  for (const Reason& reason : kReasons) {
    if (counts.of(reason.use) == 0) continue;
    list += (list.empty() ? "" : ", ") + std::to_string(counts.of(reason.use)) + " " + reason.text;
  }
  return list.empty() ? list : "left out: " + list + "\n";
}

std::string percent(double share, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f%%", digits, 100 * share);
  return text;
}

std::string summaryText(const Counts& counts, const lsm::TrainingSummary& summary) {
  std::string text = "read: " + plural(counts.pages, "page") + "\n" + leftOut(counts);
  for (std::size_t c = 0; c < summary.categories.size(); ++c) {
    const lsm::CategorySummary& category = summary.categories[c];
    text += "category " + std::to_string(c + 1) + ": learnt from " + plural(category.teaching, "page") +
            ", calibrated on " + std::to_string(category.calibrating) + ", of which " +
            percent(static_cast<double>(category.recognised) / static_cast<double>(category.calibrating), 1) +
            " are told right\n";
  }
  text += "sites: " + std::to_string(summary.sites) + "\n";
  text +=
      "words: " + std::to_string(summary.words) + " kept of " + std::to_string(summary.differentWords) + "\n";
  if (!summary.scriptsLeftOut.empty()) {
    std::string scripts;
    for (const std::string& script : summary.scriptsLeftOut)
      scripts += (scripts.empty() ? "" : ", ") + script;
    text += "not judged, too few pages of category 1: " + scripts + "\n";
  }
  text += "rank: " + std::to_string(summary.rank) + "\n";
  text += "expected of category 1 on other sites: " + percent(summary.falsePositives, 2) + " restricted\n";
  return text;
}

int runTrain(const Options& options) {
  if (options.categories.empty() && options.files.empty()) {
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
  const Counts counts = readPages(options, training.threads, corpus);
  lsm::TrainingSummary summary;
  std::string why;
  const std::optional<lsm::MapContents> map = lsm::trainMap(corpus, training, summary, why);
  if (!map) {
    const std::string skipped = leftOut(counts);
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
  output.write(summaryText(counts, summary));
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
      "About a quarter of the sites (the \"site\" of a JSON line, the host, the first folder below DIR, or "
      "else the\n"
      "file) is kept from training; on their pages the map is calibrated, so that a score of 0.62 restricts\n"
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
  command.add_option("FILE", options->files, "Self-labelled JSON lines (.jsonl, .jsonl.gz)")->type_name("");
  command
      .add_option("--category", options->categories, "A folder, or archive, of pages of category N (1 to 9)")
      ->type_name("N=DIR")
      ->allow_extra_args(false)
      ->check(CLI::Validator(
          [](const std::string& value) {
            return parseCategoryFolder(value) ? std::string()
                                              : "expected N=DIR with N from 1 to 9, not " + value;
          },
          ""));
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
