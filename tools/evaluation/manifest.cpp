#include "evaluation/manifest.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "category_option.h"

namespace sifterra::tools {
namespace {

std::vector<std::string> cellsOf(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream stream(line);
  for (std::string cell; std::getline(stream, cell, '\t');) cells.push_back(cell);
  return cells;
}

int labelOf(const std::string& cell) {
  const bool valid = cell.size() == 1 && cell[0] >= '1' && cell[0] <= '0' + kMostCategories;
  return valid ? cell[0] - '0' : 0;
}

}  // namespace

Manifest readManifest(const std::string& path) {
  Manifest manifest;
  std::ifstream stream(path, std::ios::binary);
  if (!stream) {
    manifest.errors.push_back(path + ": cannot be read");
    return manifest;
  }
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::vector<std::string> columns;
  bool first = true;
  std::size_t number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    const std::vector<std::string> cells = cellsOf(line);
    const bool isHeader = first && cells[0] == "file";
    first = false;
    if (isHeader) {
      columns = cells;
      continue;
    }
    ManifestRow row{number, {}, cells.size() < 2 ? 0 : labelOf(cells[1]), {}};
    if (row.label == 0 || cells[0].empty()) {
      manifest.errors.push_back(path + ":" + std::to_string(number) +
                                ": expected a file, a tab and a label from 1 to 9");
      continue;
    }
    row.file = (folder / cells[0]).string();
    for (std::size_t i = 2; i < cells.size(); ++i) {
      const std::string name = i < columns.size() ? columns[i] : "column" + std::to_string(i + 1);
      if (!cells[i].empty()) row.groups[name] = cells[i];
    }
    manifest.rows.push_back(std::move(row));
  }
  if (manifest.rows.empty() && manifest.errors.empty()) manifest.errors.push_back(path + ": holds no page");
  return manifest;
}

}  // namespace sifterra::tools
