// How: pages are judged as `check` judges them, several at once, kept as label and score, and counted at
// the end.
#include "evaluate_command.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Output.h"
#include "ProgressBar.h"
#include "category_option.h"
#include "evaluation/LabelledSource.h"
#include "evaluation/reports.h"
#include "ordered_parallel.h"
#include "page_judgement.h"
#include "page_text.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"
#include "sifterra/judge/WFJudge.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::vector<std::string> files;
  std::vector<std::string> categories;
  std::string manifest;
  std::string map;
  std::string report;
  bool json = false;
  std::size_t threads = 0;  // 0: one for each core
};

constexpr std::int32_t kClassified = 0;
constexpr std::int32_t kSelfRestricted = 3;

// A page that was not classified counts as sure of its verdict.
double scoreOf(const PageJudgement& judged) {
  if (judged.evidence == kClassified && !judged.scores.empty() && !std::isnan(judged.scores.back())) {
    return judged.scores.back();
  }
  return judged.evidence == kSelfRestricted ? 1 : 0;
}

struct Judged {
  PageItem item;  // without its bytes
  PageJudgement judgement;
};

EvaluatedPage evaluatedPage(Judged judged, int categories) {
  EvaluatedPage page;
  page.name = judged.judgement.name;
  page.title = judged.judgement.title.toUTF8();
  page.label = judged.item.page.label;
  page.adult = page.label == categories;
  page.restricted = judged.judgement.restricted;
  page.evidence = judged.judgement.evidence;
  page.score = scoreOf(judged.judgement);
  page.groups = std::move(judged.item.page.attributes);
  return page;
}

std::shared_ptr<WFLSMScoreNormalizedMap> openMap(const std::string& file, std::string& path) {
  platform::String mapPath = absolutePath(file);
  if (file.empty()) mapPath = WFJudge::defaultLSMMapPath();
  path = mapPath.toUTF8();
  if (!mapPath) {
    printError("the library's own map is missing");
    return nullptr;
  }
  auto map = WFLSMScoreNormalizedMap::mapFromFilePath(mapPath);
  if (!map) printError(path + ": no usable map");
  return map;
}

bool writeReport(const std::string& path, const Evaluation& evaluation) {
  std::string why;
  const std::optional<std::string> page = htmlReport(evaluation, why);
  if (!page) {
    printError(path + ": no report: " + why);
    return false;
  }
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream << *page;
  stream.close();
  if (stream) return true;
  printError(path + ": cannot be written");
  return false;
}

int runEvaluate(const Options& options) {
  std::vector<CategoryFolder> folders;
  for (const std::string& value : options.categories) folders.push_back(*parseCategoryFolder(value));
  if (folders.empty() && options.manifest.empty() && options.files.empty()) {
    printError(
        "nothing to evaluate: expected --category, --manifest or a FILE (see sifterra evaluate --help)");
    return kExitError;
  }
  Evaluation evaluation;
  const auto map = openMap(options.map, evaluation.map);
  if (!map) return kExitError;
  evaluation.threshold = static_cast<double>(map->threshold());
  const auto categories = static_cast<int>(map->numberOfCategories());
  const WFJudge judge(map);
  LabelledSource source(std::move(folders), options.manifest, options.files, categories);
  const auto work = [&](PageItem item) {
    PageJudgement judgement = judgePage(judge, item, "");
    item.page.bytes = nullptr;
    return Judged{std::move(item), std::move(judgement)};
  };
  ProgressBar bar;
  std::size_t seen = 0;
  const auto consume = [&](Judged judged) {
    bar.update(++seen, 0, 0);
    if (judged.item.error) {
      bar.hide();
      printError(*judged.item.error);
      ++evaluation.errors;
    } else {
      evaluation.pages.push_back(evaluatedPage(std::move(judged), categories));
    }
    return true;
  };
  const std::size_t cores = std::thread::hardware_concurrency();
  orderedParallel(
      options.threads != 0 ? options.threads : cores, [&] { return source.next(); }, work, consume);
  bar.hide();
  if (evaluation.pages.empty()) {
    printError("no labelled page could be read");
    return kExitError;
  }
  evaluation.figures = figuresOf(evaluation.pages, static_cast<std::size_t>(categories));
  Output output;
  output.write(options.json ? jsonReport(evaluation) : textReport(evaluation));
  bool good = output.finish() && evaluation.errors == 0;
  if (!options.report.empty()) good = writeReport(options.report, evaluation) && good;
  return good ? kExitGood : kExitError;
}

}  // namespace

Action defineEvaluateCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "The pages' categories are known: from a folder for each (--category 2=adult/), from a manifest\n"
      "(tab-separated: file, label, then any columns; a first line \"file<TAB>label<TAB>...\" names them), "
      "or\n"
      "from JSON lines that hold \"label\". Each further column of the manifest and the members lang,\n"
      "kind, topic and group of a JSON line make a group that is counted apart.\n"
      "\n"
      "Printed are the confusion matrix, accuracy, precision, recall, false-positive rate, F1, the area "
      "under\n"
      "the ROC curve, false-positive rates at fixed recalls, the same by group, and the worst mistakes.\n"
      "\n"
      "Exit status: 0 done, 2 an error (the pages that could be read are counted).\n"
      "\n"
      "Examples:\n"
      "  sifterra evaluate --category 1=good/ --category 2=bad/\n"
      "  sifterra evaluate --map new.map --report new.html validation.jsonl.gz\n"
      "  sifterra evaluate --json --manifest pages.tsv | jq .areaUnderRocCurve");
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
  command.add_option("--manifest", options->manifest, "Table of files and labels")->type_name("FILE.tsv");
  command.add_option("--map", options->map, "Map file to measure in place of the library's own")
      ->type_name("FILE");
  command.add_flag("--json", options->json, "One JSON object in place of the tables");
  command.add_option("--report", options->report, "Also write a report with plots, one HTML page")
      ->type_name("FILE.html");
  command.add_option("-j,--jobs", options->threads, "Threads (one for each core)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  return [options] { return runEvaluate(*options); };
}

}  // namespace sifterra::tools
