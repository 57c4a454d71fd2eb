// labelled_options: the pages of known category that `train` and `evaluate` are given.
#pragma once

#include <string>
#include <vector>

#include "category_option.h"

namespace CLI {
class App;
}

namespace sifterra::tools {

struct LabelledPages {
  std::vector<std::string> files;       // FILE: the pages tell their own category
  std::vector<std::string> categories;  // --category: "N=DIR"

  [[nodiscard]] bool empty() const { return files.empty() && categories.empty(); }
  // The values of --category, in the order of the command line.
  [[nodiscard]] std::vector<CategoryFolder> folders() const;
};

// Declares FILE and --category; a value of another form is a mistake of the command line.
void addLabelledOptions(CLI::App& command, LabelledPages& pages);

}  // namespace sifterra::tools
