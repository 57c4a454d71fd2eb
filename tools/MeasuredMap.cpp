// How: pages are judged as `check` judges them, kept as label and score, and counted at the end.
#include "MeasuredMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Output.h"
#include "ProgressBar.h"
#include "explanation_text.h"
#include "ordered_parallel.h"
#include "page_judgement.h"
#include "page_text.h"

namespace sifterra::tools {
namespace {

constexpr std::int32_t kClassified = 0;
constexpr std::int32_t kSelfRestricted = 3;

// A page that was not classified counts as sure of its verdict.
double scoreOf(const PageJudgement& judged) {
  if (judged.evidence == kClassified && !judged.scores.empty() && !std::isnan(judged.scores.back())) {
    return judged.scores.back();
  }
  return judged.evidence == kSelfRestricted ? 1 : 0;
}

EvaluatedPage evaluated(const PageJudgement& judgement, const PageRecord& record, std::int64_t categories) {
  EvaluatedPage page;
  page.name = judgement.name;
  page.title = judgement.title.toUTF8();
  page.label = record.label;
  page.adult = page.label == categories;
  page.restricted = judgement.restricted;
  page.evidence = judgement.evidence;
  page.score = scoreOf(judgement);
  page.groups = record.attributes;
  return page;
}

std::shared_ptr<const ExplainedMistake> explained(const WFLSMMap& map, const PageRecord& record) {
  const auto explanation = explainPage(map, record, "");
  if (!explanation) return nullptr;
  auto mistake = std::make_shared<ExplainedMistake>();
  mistake->decidedBy = explanation->decided.name.toUTF8();
  mistake->points = explanation->decided.points;
  mistake->excerpt = explanation->excerpt.toUTF8();
  for (const WFExplainedWord* word : strongestWords(*explanation, true))
    mistake->forAdult.push_back({wordText(*word), word->points});
  for (const WFExplainedWord* word : strongestWords(*explanation, false))
    mistake->against.push_back({wordText(*word), word->points});
  return mistake;
}

// Keeps the explanations of the worst mistakes of one kind and drops the others': there may be millions.
class WorstExplained {
 public:
  void add(std::vector<EvaluatedPage>& pages, std::size_t page) {
    kept_.push_back(page);
    if (kept_.size() <= kWorstMistakes) return;
    const auto least = std::min_element(kept_.begin(), kept_.end(), [&](std::size_t a, std::size_t b) {
      return badness(pages[a]) != badness(pages[b]) ? badness(pages[a]) < badness(pages[b])
                                                    : pages[a].name > pages[b].name;
    });
    pages[*least].explanation = nullptr;
    kept_.erase(least);
  }

 private:
  static double badness(const EvaluatedPage& page) { return page.adult ? -page.score : page.score; }
  std::vector<std::size_t> kept_;
};

struct Judged {
  std::optional<std::string> error;  // why there is no page
  std::vector<EvaluatedPage> pages;  // one for each map
  std::string html;                  // UTF-8, when pages are to be disguised
};

Judged judged(const std::vector<MeasuredMap>& maps, const PageItem& item, const Measuring& measuring) {
  Judged result;
  for (const MeasuredMap& map : maps) {
    const PageJudgement judgement = judgePage(*map.judge, item, "");
    result.error = judgement.error;
    if (result.error) return result;
    EvaluatedPage page = evaluated(judgement, item.page, map.map->numberOfCategories());
    if (measuring.explain && page.restricted != page.adult && page.evidence == kClassified)
      page.explanation = explained(*map.map, item.page);
    result.pages.push_back(std::move(page));
  }
  if (!measuring.disguises.empty()) result.html = decodedText(item.page, "").toUTF8();
  return result;
}

}  // namespace

std::optional<MeasuredMap> openMeasuredMap(const std::string& file) {
  MeasuredMap measured;
  const platform::String path = file.empty() ? WFJudge::defaultLSMMapPath() : absolutePath(file);
  if (!path) {
    printError("the library's own map is missing");
    return std::nullopt;
  }
  measured.evaluation.map = path.toUTF8();
  measured.map = WFLSMScoreNormalizedMap::mapFromFilePath(path);
  if (!measured.map) {
    printError(measured.evaluation.map + ": no usable map");
    return std::nullopt;
  }
  measured.evaluation.threshold = static_cast<double>(measured.map->threshold());
  measured.judge = std::make_shared<const WFJudge>(measured.map);
  return measured;
}

bool judgePages(std::vector<MeasuredMap>& maps, LabelledSource& source, const Measuring& measuring) {
  const bool keepHtml = !measuring.disguises.empty();
  ProgressBar bar;
  std::size_t seen = 0;
  std::vector<std::array<WorstExplained, 2>> worst(maps.size());
  const auto work = [&](const PageItem& item) { return judged(maps, item, measuring); };
  const auto consume = [&](Judged result) {
    bar.update(++seen, 0, 0);
    if (result.error) {
      bar.hide();
      printError(*result.error);
    }
    for (std::size_t i = 0; i < maps.size(); ++i) {
      if (result.error) {
        ++maps[i].evaluation.errors;
        continue;
      }
      if (keepHtml) maps[i].disguised.add(result.pages[i], result.html);
      std::vector<EvaluatedPage>& pages = maps[i].evaluation.pages;
      pages.push_back(std::move(result.pages[i]));
      if (pages.back().explanation) worst[i][pages.back().adult ? 1 : 0].add(pages, pages.size() - 1);
    }
    return true;
  };
  orderedParallel(
      measuring.threads, [&] { return source.next(); }, work, consume);
  bar.hide();
  if (maps.front().evaluation.pages.empty()) {
    printError("no labelled page could be read");
    return false;
  }
  for (MeasuredMap& map : maps) {
    const auto categories = static_cast<std::size_t>(map.map->numberOfCategories());
    map.evaluation.figures = figuresOf(map.evaluation.pages, categories);
  }
  return true;
}

bool judgeDisguised(MeasuredMap& map, const Measuring& measuring) {
  ProgressBar bar;
  std::vector<std::string> leftOut;
  const auto restricted = [&map](const std::string& html) {
    const platform::String content = platform::String::fromUTF8Lossy(html);
    return map.judge->pronounceOnPageContent(content, nullptr, nullptr, nullptr)->restricted();
  };
  map.evaluation.disguises = map.disguised.judge(
      measuring.disguises, measuring.threads, restricted,
      [&bar](std::size_t done, std::size_t all) { bar.update(done, done, all); }, leftOut);
  bar.hide();
  for (const std::string& name : leftOut)
    printError("--disguise " + name + ": no legitimate page gives ordinary text");
  return leftOut.empty();
}

}  // namespace sifterra::tools
