// json_report: the JSON of the reports.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "evaluation/reports.h"

namespace sifterra::tools {

// Members keep their order.
using ReportJson = nlohmann::ordered_json;

// What jsonReport() of one map prints.
[[nodiscard]] ReportJson reportObject(const Evaluation& evaluation);
// One line. Names that are no UTF-8 get U+FFFD; not-a-number prints as null.
[[nodiscard]] std::string jsonText(const ReportJson& json);

}  // namespace sifterra::tools
