#include "evaluation/Comparison.h"
#include "evaluation/json_report.h"

namespace sifterra::tools {

std::string jsonReport(const Comparison& comparison) {
  ReportJson differences = ReportJson::object();
  for (const Difference& difference : comparison.differences) {
    ReportJson pages = ReportJson::array();
    for (const PagePair& pair : difference.pages) {
      pages.push_back({{"name", pair.a->name},
                       {"title", pair.a->title},
                       {"scores", {pair.a->score, pair.b->score}},
                       {"evidence", {pair.a->evidence, pair.b->evidence}}});
    }
    differences[difference.name] = std::move(pages);
  }
  return jsonText({{"a", reportObject(comparison.a)},
                   {"b", reportObject(comparison.b)},
                   {"chanceAdult", comparison.chance(true)},
                   {"chanceLegitimate", comparison.chance(false)},
                   {"differences", std::move(differences)}});
}

}  // namespace sifterra::tools
