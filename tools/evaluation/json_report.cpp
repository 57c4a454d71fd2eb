#include "evaluation/json_report.h"

#include <algorithm>
#include <cmath>

#include "evaluation/report_rows.h"
#include "evaluation/reports.h"

namespace sifterra::tools {
namespace {

using Json = ReportJson;

// Not-a-number, where there was nothing to count, prints as null.
Json confusionJson(const Confusion& c) {
  return {{"adult", c.adult()},
          {"legitimate", c.legitimate()},
          {"truePositives", c.truePositives},
          {"falseNegatives", c.falseNegatives},
          {"falsePositives", c.falsePositives},
          {"trueNegatives", c.trueNegatives},
          {"accuracy", c.accuracy()},
          {"precision", c.precision()},
          {"recall", c.recall()},
          {"falsePositiveRate", c.falsePositiveRate()},
          {"f1", c.f1()}};
}

Json intervalJson(std::size_t hits, std::size_t trials) {
  const Interval interval = wilsonInterval(hits, trials);
  return Json::array({interval.low, interval.high});
}

Json mistakesJson(const std::vector<const EvaluatedPage*>& pages) {
  Json list = Json::array();
  for (std::size_t i = 0; i < std::min(pages.size(), kWorstMistakes); ++i) {
    list.push_back({{"name", pages[i]->name},
                    {"title", pages[i]->title},
                    {"score", pages[i]->score},
                    {"evidence", pages[i]->evidence}});
  }
  return list;
}

Json disguisesJson(const std::vector<DisguiseFigures>& disguises) {
  Json list = Json::array();
  for (const DisguiseFigures& one : disguises) {
    Json kinds = Json::object();
    for (const GroupFigures& kind : one.kinds) {
      kinds[kind.value] = {{"plain", kind.confusion.adult()},
                           {"kept", kind.confusion.truePositives},
                           {"keptShare", kind.confusion.recall()}};
    }
    list.push_back({{"disguise", one.name},
                    {"what", one.what},
                    {"pages", one.pages},
                    {"changed", one.changed},
                    {"plain", one.plain},
                    {"kept", one.kept},
                    {"keptShare", share(one.kept, one.plain)},
                    {"keptInterval", intervalJson(one.kept, one.plain)},
                    {"recall", share(one.caught, one.pages)},
                    {"kinds", std::move(kinds)}});
  }
  return list;
}

}  // namespace

ReportJson reportObject(const Evaluation& evaluation) {
  const Figures& figures = evaluation.figures;
  const Confusion& all = figures.confusion;
  ReportJson report = {{"map", evaluation.map},
                       {"threshold", evaluation.threshold},
                       {"pages", all.pages()},
                       {"errors", evaluation.errors},
                       {"overall", confusionJson(all)},
                       {"recallInterval", intervalJson(all.truePositives, all.adult())},
                       {"falsePositiveRateInterval", intervalJson(all.falsePositives, all.legitimate())},
                       {"areaUnderRocCurve", figures.areaUnderCurve}};
  Json labels = Json::array();
  for (std::size_t i = 0; i < figures.labels.size(); ++i) {
    labels.push_back(
        {{"label", i + 1}, {"allowed", figures.labels[i][0]}, {"restricted", figures.labels[i][1]}});
  }
  report["labels"] = labels;
  Json atRecall = Json::array();
  for (const double recall : kFixedRecalls) {
    atRecall.push_back(
        {{"recall", recall}, {"falsePositiveRate", falsePositiveRateAtRecall(figures.roc, recall)}});
  }
  report["falsePositiveRateAtRecall"] = atRecall;
  Json atRate = Json::array();
  for (const double rate : kFixedFalsePositiveRates) {
    atRate.push_back({{"falsePositiveRate", rate}, {"recall", recallAtFalsePositiveRate(figures.roc, rate)}});
  }
  report["recallAtFalsePositiveRate"] = atRate;
  Json groups = Json::object();
  for (const GroupFigures& entry : figures.groups) {
    Json& group = groups[entry.group][entry.value];
    group = confusionJson(entry.confusion);
    for (const auto& [kind, confusion] : entry.kinds) group["kinds"][kind] = confusionJson(confusion);
  }
  report["groups"] = groups;
  if (!evaluation.disguises.empty()) report["disguises"] = disguisesJson(evaluation.disguises);
  report["worstFalsePositives"] = mistakesJson(figures.falsePositives);
  report["worstFalseNegatives"] = mistakesJson(figures.falseNegatives);
  return report;
}

std::string jsonText(const ReportJson& json) {
  return json.dump(-1, ' ', false, ReportJson::error_handler_t::replace) + "\n";
}

std::string jsonReport(const Evaluation& evaluation) {
  return jsonText(reportObject(evaluation));
}

}  // namespace sifterra::tools
