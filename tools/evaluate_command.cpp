#include "evaluate_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "MeasuredMap.h"
#include "Output.h"
#include "evaluation/Comparison.h"
#include "evaluation/LabelledSource.h"
#include "evaluation/disguises.h"
#include "evaluation/reports.h"
#include "labelled_options.h"
#include "output_file.h"

namespace sifterra::tools {
namespace {

struct Options {
  LabelledPages pages;
  std::string manifest;
  std::string map;
  std::vector<std::string> compared;  // two map files, or none
  std::string report;
  std::vector<std::string> disguises;  // by name, or "all"
  bool json = false;
  std::size_t threads = 0;  // 0: one for each core
};

constexpr std::string_view kAllDisguises = "all";

// A page for a browser, of one map or of two.
template <class Measured>
bool writeReport(const std::string& path, const Measured& measured) {
  std::string why;
  const std::optional<std::string> page = htmlReport(measured, why);
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

// The maps of the command line: two to compare, or one. None, after a message, when one is not usable.
std::vector<MeasuredMap> openMaps(const Options& options) {
  std::vector<MeasuredMap> maps;
  const std::vector<std::string> files =
      options.compared.empty() ? std::vector<std::string>{options.map} : options.compared;
  for (const std::string& file : files) {
    std::optional<MeasuredMap> map = openMeasuredMap(file);
    if (!map) return {};
    maps.push_back(std::move(*map));
  }
  const std::int64_t categories = maps.front().map->numberOfCategories();
  if (maps.back().map->numberOfCategories() != categories) {
    printError(maps.back().evaluation.map + ": has " + std::to_string(maps.back().map->numberOfCategories()) +
               " categories, expected " + std::to_string(categories) +
               " as in the map that it is compared with");
    return {};
  }
  return maps;
}

template <class Measured>
bool writeReports(const Measured& measured, const Options& options) {
  Output output;
  output.write(options.json ? jsonReport(measured) : textReport(measured));
  const bool written = output.finish();
  return (options.report.empty() || writeReport(options.report, measured)) && written;
}

int runEvaluate(const Options& options) {
  if (options.pages.empty() && options.manifest.empty()) {
    printError(
        "nothing to evaluate: expected --category, --manifest or a FILE (see sifterra evaluate --help)");
    return kExitError;
  }
  std::vector<MeasuredMap> maps = openMaps(options);
  if (maps.empty()) return kExitError;
  LabelledSource source(options.pages.folders(), options.manifest, options.pages.files,
                        static_cast<int>(maps.front().map->numberOfCategories()));
  const Measuring measuring{wantedDisguises(options.disguises),
                            options.threads != 0 ? options.threads : std::thread::hardware_concurrency(),
                            !options.report.empty()};
  if (!judgePages(maps, source, measuring)) return kExitError;
  bool good = maps.front().evaluation.errors == 0;
  if (!measuring.disguises.empty()) {
    for (MeasuredMap& map : maps) good = judgeDisguised(map, measuring) && good;
  }
  if (maps.size() == 1) {
    good = writeReports(maps.front().evaluation, options) && good;
  } else {
    good = writeReports(compared(maps.front().evaluation, maps.back().evaluation), options) && good;
  }
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
      "With --compare the same for two maps side by side, and the pages on which they differ.\n"
      "\n"
      "Exit status: 0 done, 2 an error (the pages that could be read are counted).\n"
      "\n"
      "Examples:\n"
      "  sifterra evaluate --category 1=good/ --category 2=bad/\n"
      "  sifterra evaluate --map new.map --report new.html validation.jsonl.gz\n"
      "  sifterra evaluate --compare old.map new.map --report change.html validation.jsonl.gz\n"
      "  sifterra evaluate --disguise all validation.jsonl.gz\n"
      "  sifterra evaluate --json --manifest pages.tsv | jq .areaUnderRocCurve");
  addLabelledOptions(command, options->pages);
  command.add_option("--manifest", options->manifest, "Table of files and labels")->type_name("FILE.tsv");
  CLI::Option* map =
      command.add_option("--map", options->map, "Map file to measure in place of the library's own")
          ->type_name("FILE");
  command.add_option("--compare", options->compared, "Two map files to measure side by side")
      ->type_name("A B")
      ->expected(2)
      ->allow_extra_args(false)
      ->excludes(map);
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
