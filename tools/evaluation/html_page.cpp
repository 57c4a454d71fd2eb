#include "evaluation/html_page.h"

#include "evaluation/page_pieces.h"
#include "evaluation/report_rows.h"

namespace sifterra::tools {
namespace {

constexpr const char* kStyle =
    "body{font:16px/1.5 system-ui,sans-serif;max-width:64rem;margin:2rem auto;padding:0 1rem;color:#1c2733}\n"
    "h1{margin-bottom:.2rem}h2{margin-top:2.5rem;border-bottom:2px solid #1f5fa8;padding-bottom:.2rem}\n"
    ".map{color:#52606d;overflow-wrap:anywhere;margin:.2rem 0}\n"
    ".cards{display:flex;flex-wrap:wrap;gap:1rem;margin:1.5rem 0}\n"
    ".cards div{flex:1 1 10rem;background:#f2f6fb;border-radius:.5rem;padding:.7rem 1rem}\n"
    ".cards b{display:block;font-size:1.6rem;font-variant-numeric:tabular-nums}\n"
    ".table{overflow-x:auto;margin:1rem 0}\n"
    "table{border-collapse:collapse;font-variant-numeric:tabular-nums}\n"
    "th,td{padding:.25rem .8rem;border-bottom:1px solid #dde3ea;text-align:right;vertical-align:top}\n"
    "thead th,thead td{border-bottom:2px solid #9fb3c8;vertical-align:bottom}\n"
    "th:first-child,td:first-child{text-align:left;padding-left:0}tbody th{font-weight:500}\n"
    "small{color:#52606d;white-space:nowrap}td small{display:block;line-height:1.2}th "
    "small{white-space:normal}\n"
    "figure{margin:1rem 0}svg{width:100%;max-width:44rem;height:auto}\n"
    ".mistakes{padding-left:2rem}.mistakes li{margin-bottom:1rem;overflow-wrap:anywhere}\n"
    ".mistakes p{margin:.1rem 0}.score{font-variant-numeric:tabular-nums;font-weight:600}\n"
    "q{font-style:italic;overflow-wrap:anywhere}.for{color:#a3271b}.against{color:#17603a}\n"
    "@media print{body{max-width:none}h2{break-after:avoid}li,tr{break-inside:avoid}}\n";

}  // namespace

std::string htmlHead(const std::string& title) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta name=\"viewport\" "
         "content=\"width=device-width, initial-scale=1\">\n<title>" +
         quoted(title) + "</title>\n<style>\n" + kStyle + "</style>\n</head>\n<body>\n<main>\n<h1>" +
         quoted(title) + "</h1>\n";
}

std::string htmlEnd() {
  return "</main>\n</body>\n</html>\n";
}

HtmlTable::HtmlTable(std::ostringstream& out, const std::vector<std::string>& columns) : out_(out) {
  out_ << "<div class=\"table\" tabindex=\"0\">\n<table>\n";
  if (!columns.empty()) {
    out_ << "<thead><tr>";
    for (const std::string& column : columns) {
      out_ << (column.empty() ? "<td></td>" : "<th scope=\"col\">" + column + "</th>");
    }
    out_ << "</tr></thead>\n";
  }
  out_ << "<tbody>\n";
}

HtmlTable::~HtmlTable() {
  out_ << "</tbody>\n</table>\n</div>\n";
}

void HtmlTable::row(const std::vector<std::string>& cells) {
  out_ << "<tr>";
  for (std::size_t i = 0; i < cells.size(); ++i) {
    out_ << (i == 0 ? "<th scope=\"row\">" : "<td>") << cells[i] << (i == 0 ? "</th>" : "</td>");
  }
  out_ << "</tr>\n";
}

std::string rateWithInterval(std::size_t hits, std::size_t trials) {
  if (trials == 0) return "-";
  return percent(share(hits, trials)) + " <small>" + intervalText(hits, trials) + "</small>";
}

std::string figure(const std::string& label, const std::string& svg) {
  return "<figure role=\"img\" aria-label=\"" + quoted(label) + "\">\n" + svg + "\n</figure>\n";
}

std::string quoted(const std::string& text) {
  return escapedText(text);
}

}  // namespace sifterra::tools
