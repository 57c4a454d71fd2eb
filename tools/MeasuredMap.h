// MeasuredMap: a map, and what it makes of labelled pages.
//
//   std::vector<MeasuredMap> maps;  // one, or two that are compared
//   judgePages(maps, source, wanted);
//   maps[0].evaluation.figures ...
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "evaluation/DisguiseRun.h"
#include "evaluation/LabelledSource.h"
#include "evaluation/disguises.h"
#include "evaluation/reports.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"
#include "sifterra/judge/WFJudge.h"

namespace sifterra::tools {

struct MeasuredMap {
  Evaluation evaluation;
  std::shared_ptr<WFLSMScoreNormalizedMap> map;
  std::shared_ptr<const WFJudge> judge;
  DisguiseRun disguised;
};

// From that file, "" for the library's own. Nothing, after a message, when there is no usable map.
[[nodiscard]] std::optional<MeasuredMap> openMeasuredMap(const std::string& file);

struct Measuring {
  std::vector<const Disguise*> disguises;
  std::size_t threads = 1;
  bool explain = false;  // the worst mistakes
};

// Judges every page by each of the maps, several pages at once, and counts. Errors of pages are printed.
// False, after a message, when no page could be read.
[[nodiscard]] bool judgePages(std::vector<MeasuredMap>& maps, LabelledSource& source,
                              const Measuring& measuring);
// Then the adult pages disguised. False, after messages, when a disguise had to be left out.
[[nodiscard]] bool judgeDisguised(MeasuredMap& map, const Measuring& measuring);

}  // namespace sifterra::tools
