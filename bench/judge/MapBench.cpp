// MapBench: what the map costs, each figure beside what it must not exceed.
//
//   MapBench [--rounds N] [--map FILE] [--benchmark_out=FILE]
//
//   size, load       of the map file, from the warm file cache
//   score stage      tokenising a page's text and scoring it, against the bare parse of the same page
//   disguise rules   what reading disguised, misspelt and glued words adds on honest pages: to that stage,
//   and
//                    to a whole verdict, which is what somebody waits for and what is limited
//
// All sides of a ratio are measured one after the other in each round, every other round in reverse; told is
// the median of the rounds' ratios.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "judge/generated_page.h"
#include "judge/judge_bench.h"
#include "judge/timing.h"
#include "lsm/Evaluation.h"
#include "lsm/LsmEngine.h"
#include "lsm/TextWords.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/page/decodePage.h"
#include "sifterra/text/WFWebPageToFilterText.h"

namespace sifterra::bench {
namespace {

using platform::Data;
using platform::String;

constexpr double kMostBytes = 6e6;
constexpr double kMostLoadMilliseconds = 5;
constexpr double kMostScoreRatio = 0.5;
constexpr double kMostRulesRatio = 1.05;

// Pages that are measured as one: for the parser, for the judge and for the map.
struct Subject {
  std::string name;
  std::vector<std::string> utf8;
  std::vector<String> contents;
  std::vector<String> texts;
  std::size_t bytes = 0;
};

struct Figure {
  std::string name;
  std::string subject;
  double value;
  double limit;  // 0: none
  const char* unit;
};

void addPage(Subject& subject, const std::string& bytes) {
  const String content = decodePage(Data(bytes), nullptr);
  const auto page = WFWebPageToFilterText::webPageWithString(content);
  subject.contents.push_back(content);
  subject.utf8.push_back(content.toUTF8());
  subject.texts.push_back(page->plainText());
  subject.bytes += subject.utf8.back().size();
}

// The example pages that the map allows, and generated ones of their words: nobody disguises anything there.
std::vector<Subject> honestPages(const WFLSMMap& map) {
  const std::vector<std::filesystem::path> paths = examplePages();
  std::vector<Subject> result(1);
  std::vector<std::string> contents;
  for (const auto& path : paths) {
    const std::string bytes = fileContents(path);
    const auto page = WFWebPageToFilterText::webPageWithString(decodePage(Data(bytes), nullptr));
    const auto scores = map.evaluate(page->plainText());
    if (scores && scores->isRestricted()) continue;
    addPage(result[0], bytes);
    contents.push_back(page->pageContent().toUTF8());
  }
  result[0].name = std::to_string(contents.size()) + " examples";
  const std::vector<std::string> words = wordsByFrequency(contents);
  for (const std::size_t kib : {8, 32, 256}) {
    Subject subject;
    subject.name = std::to_string(kib) + " KiB";
    addPage(subject, generatedPage(kib * 1024, words));
    result.push_back(std::move(subject));
  }
  return result;
}

void parseAll(const Subject& subject) {
  for (const std::string& bytes : subject.utf8) bareParse(bytes);
}

void scoreAll(const lsm::LsmMap& map, const Subject& subject, bool readsDisguises) {
  for (const String& page : subject.texts) {
    lsm::Text text(map);
    if (!readsDisguises) text.leaveDisguises();
    text.addWords(page.view());
    if (lsm::evaluate(*map, text).size() != map->categoryCount()) std::abort();
  }
}

// Processor times of one round.
struct Times {
  double parse = 0;
  double score = 0;
  double plain = 0;  // the score stage without reading disguises
  double verdict = 0;
};

Times timesOf(const Subject& subject, const WFJudge& judge, const lsm::LsmMap& map, bool reverse) {
  // Small pages are repeated so that the clock's own cost does not show.
  const std::size_t repetitions = std::max<std::size_t>(1, (std::size_t{512} << 10) / (subject.bytes + 1));
  const String url(u"http://example.com/");
  Times times;
  const auto verdicts = [&] {
    for (const String& page : subject.contents) {
      if (!judge.pronounceOnPageContent(page, url, nullptr, nullptr)) std::abort();
    }
  };
  std::vector<std::function<void()>> works = {
      [&] { times.parse = microseconds(repetitions, [&] { parseAll(subject); }); },
      [&] { times.score = microseconds(repetitions, [&] { scoreAll(map, subject, true); }); },
      [&] { times.plain = microseconds(repetitions, [&] { scoreAll(map, subject, false); }); },
      [&] { times.verdict = microseconds(repetitions, verdicts); },
  };
  if (reverse) std::reverse(works.begin(), works.end());
  for (const auto& work : works) work();
  return times;
}

template <class Ratio>
double medianOf(const std::vector<Times>& rounds, Ratio ratio) {
  std::vector<double> ratios;
  for (const Times& times : rounds) ratios.push_back(ratio(times));
  return median(ratios);
}

std::vector<Figure> measure(const std::string& path, std::size_t rounds) {
  std::vector<Figure> figures;
  std::vector<double> times;
  lsm::LsmMap map;
  for (std::size_t round = 0; round < rounds; ++round) {
    map.reset();
    times.push_back(microseconds(1, [&] { map = lsm::lsmMapLoad(path); }) / 1000);
    if (!map) std::abort();
  }
  figures.push_back({"size", "the map", static_cast<double>(std::filesystem::file_size(path)) / 1e6,
                     kMostBytes / 1e6, "MB"});
  figures.push_back({"load", "the map", median(times), kMostLoadMilliseconds, "ms"});
  const auto judging = WFLSMScoreNormalizedMap::mapWithMap(map);
  const WFJudge judge(judging);
  for (const Subject& subject : honestPages(*judging)) {
    std::vector<Times> taken;
    for (std::size_t round = 0; round < rounds; ++round)
      taken.push_back(timesOf(subject, judge, map, round % 2 != 0));
    const auto add = [&](const char* name, double limit, auto ratio) {
      figures.push_back({name, subject.name, medianOf(taken, ratio), limit, ""});
    };
    add("score stage / bare parse", kMostScoreRatio, [](const Times& t) { return t.score / t.parse; });
    add("disguise rules, verdict", kMostRulesRatio,
        [](const Times& t) { return t.verdict / (t.verdict - t.score + t.plain); });
    add("disguise rules, score stage", 0, [](const Times& t) { return t.score / t.plain; });
  }
  return figures;
}

int run(const JudgeOptions& options) {
  const std::string path = mapToMeasure(options);
  if (path.empty()) return 1;
  std::printf("\n%-28s %-14s %8s %8s\n", "", "of", "is", "at most");
  nlohmann::json rows = nlohmann::json::array();
  for (const Figure& figure : measure(path, options.rounds)) {
    const bool within = figure.limit <= 0 || figure.value <= figure.limit;
    std::printf("%-28s %-14s %8.3f", figure.name.c_str(), figure.subject.c_str(), figure.value);
    if (figure.limit > 0) std::printf(" %8.2f %s%s", figure.limit, figure.unit, within ? "" : "  MORE");
    std::printf("\n");
    rows.push_back({{"name", figure.name},
                    {"subject", figure.subject},
                    {"value", figure.value},
                    {"limit", figure.limit},
                    {"within", within}});
  }
  std::printf("ratios of processor times, medians of %zu rounds\n", options.rounds);
  if (!options.json.empty()) std::ofstream(options.json) << rows.dump(2) << '\n';
  return 0;
}

}  // namespace
}  // namespace sifterra::bench

int main(int argc, char** argv) {
  return sifterra::bench::run(sifterra::bench::parseArguments(argc, argv, 25));
}
