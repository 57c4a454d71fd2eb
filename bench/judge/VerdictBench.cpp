// VerdictBench: what a verdict costs beside the bare parse of the same bytes, and where the time goes.
//
//   VerdictBench [--rounds N] [--largest BYTES] [--map FILE] [--benchmark_out=FILE]
//
// Each round takes, for every page, the parse and the verdict one after the other, in turn first and second,
// so that whatever else the machine does falls on both. Times are the thread's own processor time (all of it
// runs on one thread), medians of the rounds. Prints a table; the same as JSON to FILE.
#include <libxml/tree.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "judge/generated_page.h"
#include "judge/judge_bench.h"
#include "judge/resident_memory.h"
#include "judge/timing.h"
#include "lsm/LsmEngine.h"
#include "page/parse_html.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/page/WFTreeXMLDocumentStripper.h"
#include "sifterra/page/decodePage.h"
#include "sifterra/text/WFWebPageToFilterText.h"

namespace sifterra::bench {
namespace {

using platform::Data;
using platform::String;

// One page or a group of pages that is measured as one, with what came of it, in microseconds.
struct Subject {
  std::string name;
  std::vector<String> contents;
  std::vector<std::string> utf8;
  std::size_t bytes = 0;
  std::vector<std::vector<double>> samples{};  // by column
};

enum Column { kParse, kVerdict, kEncode, kOwnParse, kWalk, kText, kTokenise, kScore, kColumns };
constexpr const char* kColumnNames[] = {"bare_parse", "verdict", "encode",   "parse",
                                        "walk",       "text",    "tokenise", "score"};

struct FreeDocument {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};

// The verdict's stages one by one, each on what the stage before made.
void measureStages(const String& content, const lsm::LsmMap& map, double* stages) {
  std::string bytes;
  stages[kEncode] += microseconds(1, [&] { bytes = content.toUTF8(); });
  HTMLDocument document;
  stages[kOwnParse] += microseconds(1, [&] { document = parseHTML(bytes, "UTF-8"); });
  std::shared_ptr<WFTreeXMLDocumentStripper> model;
  stages[kWalk] += microseconds(
      1, [&] { model = WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(document.get()); });
  String text;
  stages[kText] += microseconds(1, [&] {
    const WFWebPageToFilterText page(model);
    std::int32_t evidence = 0;
    String note;
    if (!page.selfRestricted() && page.isWorthAnalyzingWithEvidence(evidence, note)) text = page.plainText();
  });
  model.reset();
  if (text) {
    lsm::LsmText words = lsm::lsmTextCreate(map);
    stages[kTokenise] += microseconds(1, [&] {
      if (lsm::lsmTextAddWords(words, text.view()) != 0) std::abort();
    });
    stages[kScore] += microseconds(1, [&] {
      if (!lsm::lsmEvaluate(map, words, lsm::lsmMapCategoryCount(map))) std::abort();
    });
  }
  stages[kOwnParse] += microseconds(1, [&] { document.reset(); });
}

void measureRound(Subject& subject, std::size_t round, const WFJudge& judge, const lsm::LsmMap& map) {
  const String url(u"http://www.example.com/news/index.html");
  // Small pages are repeated so that the clock's own cost does not show.
  const std::size_t repetitions = std::max<std::size_t>(1, 65536 / (subject.bytes + 1));
  const auto parse = [&] {
    subject.samples[kParse].push_back(microseconds(repetitions, [&] {
      for (const std::string& bytes : subject.utf8) bareParse(bytes);
    }));
  };
  const auto verdict = [&] {
    subject.samples[kVerdict].push_back(microseconds(repetitions, [&] {
      for (const String& content : subject.contents) {
        if (!judge.pronounceOnPageContent(content, url, nullptr, nullptr)) std::abort();
      }
    }));
  };
  if (round % 2 == 0) parse();
  verdict();
  if (round % 2 != 0) parse();
  double stages[kColumns] = {};
  for (std::size_t i = 0; i < repetitions; ++i) {
    for (const String& content : subject.contents) measureStages(content, map, stages);
  }
  for (int column = kEncode; column < kColumns; ++column) {
    subject.samples[static_cast<std::size_t>(column)].push_back(stages[column] /
                                                                static_cast<double>(repetitions));
  }
}

void addPage(Subject& subject, const std::string& bytes) {
  const String content = decodePage(Data(bytes), nullptr);
  subject.contents.push_back(content);
  subject.utf8.push_back(content.toUTF8());
  subject.bytes += subject.utf8.back().size();
}

std::vector<Subject> subjects(std::size_t largest) {
  const std::vector<std::filesystem::path> paths = examplePages();
  std::vector<Subject> result(1);
  std::vector<std::string> texts;
  for (const auto& path : paths) {
    const std::string bytes = fileContents(path);
    addPage(result[0], bytes);
    const auto page = WFWebPageToFilterText::webPageWithData(Data(bytes));
    if (page && page->pageContent()) texts.push_back(page->pageContent().toUTF8());
  }
  result[0].name = "examples (" + std::to_string(paths.size()) + " pages)";
  const std::vector<std::string> words = wordsByFrequency(texts);
  for (const std::size_t kib : {8, 32, 256, 1024, 32768}) {
    if (kib * 1024 > largest) continue;
    Subject subject;
    subject.name = kib < 1024 ? std::to_string(kib) + " KiB" : std::to_string(kib / 1024) + " MiB";
    addPage(subject, generatedPage(kib * 1024, words));
    result.push_back(std::move(subject));
  }
  for (Subject& subject : result) subject.samples.resize(kColumns);
  return result;
}

nlohmann::json report(const std::vector<Subject>& all) {
  std::printf("\n%-22s %9s %11s %11s %6s   own stages, us: %8s %9s %9s %9s %9s %9s\n", "pages", "bytes",
              "parse us", "verdict us", "ratio", "encode", "parse", "walk", "text", "tokenise", "score");
  nlohmann::json rows = nlohmann::json::array();
  for (const Subject& subject : all) {
    double medians[kColumns];
    nlohmann::json row = {
        {"name", subject.name}, {"bytes", subject.bytes}, {"rounds", subject.samples[0].size()}};
    for (std::size_t column = 0; column < kColumns; ++column) {
      medians[column] = median(subject.samples[column]);
      row[std::string(kColumnNames[column]) + "_us"] = medians[column];
    }
    // Of pairs measured one after the other, so that a slow second counts on both sides.
    std::vector<double> ratios;
    for (std::size_t i = 0; i < subject.samples[kParse].size(); ++i) {
      ratios.push_back(subject.samples[kVerdict][i] / subject.samples[kParse][i]);
    }
    row["ratio"] = median(ratios);
    rows.push_back(row);
    std::printf("%-22s %9zu %11.1f %11.1f %6.2f %25.1f %9.1f %9.1f %9.1f %9.1f %9.1f\n", subject.name.c_str(),
                subject.bytes, medians[kParse], medians[kVerdict], median(ratios), medians[kEncode],
                medians[kOwnParse], medians[kWalk], medians[kText], medians[kTokenise], medians[kScore]);
  }
  std::printf("medians; the parse is htmlReadMemory with the same options and xmlFreeDoc\n");
  return rows;
}

// The map's cost: time to open it, and what the process holds once it has judged every page with it, beyond
// what reading the pages takes.
nlohmann::json measureMap(const std::string& path, const std::vector<Subject>& all) {
  for (const Subject& subject : all) {
    if (subject.bytes > 1 << 20) continue;
    for (const String& content : subject.contents) {
      if (const auto page = WFWebPageToFilterText::webPageWithString(content)) (void)page->plainText();
    }
  }
  const std::size_t before = residentBytes();
  std::vector<double> times;
  for (int i = 0; i < 15; ++i) {
    lsm::LsmMap map;
    times.push_back(microseconds(1, [&] { map = lsm::lsmMapLoad(path); }) / 1000);
    if (!map) std::abort();
  }
  const WFJudge judge(WFLSMScoreNormalizedMap::mapFromFilePath(String::fromUTF8(path)));
  for (const Subject& subject : all) {
    if (subject.bytes > 1 << 20) continue;
    for (const String& content : subject.contents) {
      if (!judge.pronounceOnPageContent(content, String(u"http://example.com/"), nullptr, nullptr))
        std::abort();
    }
  }
  const std::size_t after = residentBytes();
  const auto size = static_cast<double>(std::filesystem::file_size(path));
  const double resident = static_cast<double>(after) - static_cast<double>(before);
  std::printf(
      "map: %.1f MB, opened in %.2f ms (median of %zu, warm file cache), %.1f MB resident: %.2f times the "
      "file\n",
      size / 1e6, median(times), times.size(), resident / 1e6, resident / size);
  return {{"bytes", size},
          {"load_ms", median(times)},
          {"resident_bytes", resident},
          {"resident_ratio", resident / size}};
}

int run(const JudgeOptions& options) {
  const std::string path = mapToMeasure(options);
  if (path.empty()) return 1;
  std::vector<Subject> all = subjects(options.largest);
  const lsm::LsmMap map = lsm::lsmMapLoad(path);
  nlohmann::json result;
  result["map"] = measureMap(path, all);
  const WFJudge judge(WFLSMScoreNormalizedMap::mapFromFilePath(String::fromUTF8(path)));
  for (Subject& subject : all) {
    const std::size_t rounds =
        subject.bytes > 4 << 20 ? std::min<std::size_t>(options.rounds, 5) : options.rounds;
    for (std::size_t round = 0; round < rounds; ++round) measureRound(subject, round, judge, map);
  }
  result["verdict"] = report(all);
  if (!options.json.empty()) std::ofstream(options.json) << result.dump(2) << '\n';
  return 0;
}

}  // namespace
}  // namespace sifterra::bench

int main(int argc, char** argv) {
  return sifterra::bench::run(sifterra::bench::parseArguments(argc, argv, 15));
}
