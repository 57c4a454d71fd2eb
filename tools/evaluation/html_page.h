// html_page: what the reports for a browser are made of.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "evaluation/metrics.h"
#include "evaluation/reports.h"

namespace sifterra::tools {

[[nodiscard]] std::string htmlHead(const std::string& title);
[[nodiscard]] std::string htmlEnd();

// A table that scrolls by itself where the window is narrow. Cells are HTML; the first of a row is its
// header.
class HtmlTable {
 public:
  explicit HtmlTable(std::ostringstream& out, const std::vector<std::string>& columns = {});
  ~HtmlTable();
  HtmlTable(const HtmlTable&) = delete;
  HtmlTable& operator=(const HtmlTable&) = delete;
  void row(const std::vector<std::string>& cells);

 private:
  std::ostringstream& out_;
};

// "97.35% <small>96.1% to 98.2%</small>", of `trials` pages; "-" without any.
[[nodiscard]] std::string rateWithInterval(std::size_t hits, std::size_t trials);
// A drawing with its description.
[[nodiscard]] std::string figure(const std::string& label, const std::string& svg);
// A text of the page, which may be anything.
[[nodiscard]] std::string quoted(const std::string& text);

}  // namespace sifterra::tools
