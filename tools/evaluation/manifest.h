// manifest: a table of labelled pages.
//
// Tab-separated lines "file<TAB>label<TAB>anything...". A first line whose first cell is "file" names the
// columns; without one they are "column3", "column4", ... Files are relative to the manifest. Labels are
// categories, 1 to 9. Blank lines and lines that begin with "#" are passed over.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace sifterra::tools {

struct ManifestRow {
  std::size_t line;
  std::string file;
  int label;
  std::map<std::string, std::string> groups;
};

struct Manifest {
  std::vector<ManifestRow> rows;
  std::vector<std::string> errors;  // each names the manifest and the line
};

[[nodiscard]] Manifest readManifest(const std::string& path);

}  // namespace sifterra::tools
