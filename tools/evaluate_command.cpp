// How: pages are judged as `check` judges them, several at once, kept as label and score, and counted at
// the end.
#include "evaluate_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Output.h"
#include "ProgressBar.h"
#include "evaluation/DisguiseRun.h"
#include "evaluation/LabelledSource.h"
#include "evaluation/disguises.h"
#include "evaluation/reports.h"
#include "labelled_options.h"
#include "ordered_parallel.h"
#include "output_file.h"
#include "page_judgement.h"
#include "page_text.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"
#include "sifterra/judge/WFJudge.h"

namespace sifterra::tools {
namespace {

struct Options {
  LabelledPages pages;
  std::string manifest;
  std::string map;
  std::string report;
  std::vector<std::string> disguises;  // by name, or "all"
  bool json = false;
  std::size_t threads = 0;  // 0: one for each core
};

constexpr std::string_view kAllDisguises = "all";
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
  std::optional<std::string> error;  // why there is no page
  EvaluatedPage page;
  std::string html;  // UTF-8, when pages are to be disguised
};

Judged judged(const WFJudge& judge, const PageItem& item, int categories, bool keepHtml) {
  const PageJudgement judgement = judgePage(judge, item, "");
  if (judgement.error) return {judgement.error, {}, {}};
  EvaluatedPage page;
  page.name = judgement.name;
  page.title = judgement.title.toUTF8();
  page.label = item.page.label;
  page.adult = page.label == categories;
  page.restricted = judgement.restricted;
  page.evidence = judgement.evidence;
  page.score = scoreOf(judgement);
  page.groups = item.page.attributes;
  return {std::nullopt, std::move(page), keepHtml ? decodedText(item.page, "").toUTF8() : std::string()};
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
  return writeResult(path, *page);
}

// Those of --disguise, in the order of their list.
std::vector<const Disguise*> wantedDisguises(const std::vector<std::string>& names) {
  std::vector<const Disguise*> wanted;
  for (const Disguise& disguise : allDisguises()) {
    const bool named = std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return name == kAllDisguises || name == disguise.name;
    });
    if (named) wanted.push_back(&disguise);
  }
  return wanted;
}

std::vector<DisguiseFigures> judgeDisguised(DisguiseRun& run, const std::vector<const Disguise*>& disguises,
                                            const WFJudge& judge, std::size_t threads) {
  ProgressBar bar;
  std::vector<std::string> leftOut;
  const auto restricted = [&judge](const std::string& html) {
    const platform::String content = platform::String::fromUTF8Lossy(html);
    return judge.pronounceOnPageContent(content, nullptr, nullptr, nullptr)->restricted();
  };
  std::vector<DisguiseFigures> figures = run.judge(
      disguises, threads, restricted,
      [&bar](std::size_t done, std::size_t all) { bar.update(done, done, all); }, leftOut);
  bar.hide();
  for (const std::string& name : leftOut)
    printError("--disguise " + name + ": no legitimate page gives ordinary text");
  return figures;
}

int runEvaluate(const Options& options) {
  if (options.pages.empty() && options.manifest.empty()) {
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
  LabelledSource source(options.pages.folders(), options.manifest, options.pages.files, categories);
  const std::vector<const Disguise*> disguises = wantedDisguises(options.disguises);
  DisguiseRun disguiseRun;
  const auto work = [&](const PageItem& item) { return judged(judge, item, categories, !disguises.empty()); };
  ProgressBar bar;
  std::size_t seen = 0;
  const auto consume = [&](Judged result) {
    bar.update(++seen, 0, 0);
    if (result.error) {
      bar.hide();
      printError(*result.error);
      ++evaluation.errors;
    } else {
      if (!disguises.empty()) disguiseRun.add(result.page, std::move(result.html));
      evaluation.pages.push_back(std::move(result.page));
    }
    return true;
  };
  const std::size_t threads = options.threads != 0 ? options.threads : std::thread::hardware_concurrency();
  orderedParallel(
      threads, [&] { return source.next(); }, work, consume);
  bar.hide();
  if (evaluation.pages.empty()) {
    printError("no labelled page could be read");
    return kExitError;
  }
  evaluation.figures = figuresOf(evaluation.pages, static_cast<std::size_t>(categories));
  if (!disguises.empty()) evaluation.disguises = judgeDisguised(disguiseRun, disguises, judge, threads);
  const bool allDisguised = evaluation.disguises.size() == disguises.size();
  Output output;
  output.write(options.json ? jsonReport(evaluation) : textReport(evaluation));
  bool good = output.finish() && evaluation.errors == 0 && allDisguised;
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
  addLabelledOptions(command, options->pages);
  command.add_option("--manifest", options->manifest, "Table of files and labels")->type_name("FILE.tsv");
  command.add_option("--map", options->map, "Map file to measure in place of the library's own")
      ->type_name("FILE");
  std::vector<std::string> names{std::string(kAllDisguises)};
  std::string list;
  for (const Disguise& disguise : allDisguises()) {
    names.emplace_back(disguise.name);
    list += std::string(list.empty() ? "" : ", ") + disguise.name;
  }
  command
      .add_option("--disguise", options->disguises,
                  "Also judge the adult pages disguised (may be repeated): all, " + list)
      ->type_name("NAME")
      ->allow_extra_args(false)
      ->check(CLI::IsMember(names).description(""));
  command.add_flag("--json", options->json, "One JSON object in place of the tables");
  command.add_option("--report", options->report, "Also write a report with plots, one HTML page")
      ->type_name("FILE.html");
  command.add_option("-j,--jobs", options->threads, "Threads (one for each core)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  return [options] { return runEvaluate(*options); };
}

}  // namespace sifterra::tools
