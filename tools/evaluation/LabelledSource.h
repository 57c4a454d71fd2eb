// LabelledSource: every labelled page that a command line names, one after the other.
//
// Folders of one category, the rows of a manifest, and self-labelled JSON lines. A page without a label is an
// error; so is one whose label the map does not know.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "category_option.h"
#include "evaluation/manifest.h"
#include "input/PageSource.h"

namespace sifterra::tools {

class LabelledSource {
 public:
  LabelledSource(std::vector<CategoryFolder> folders, const std::string& manifest,
                 std::vector<std::string> files, int categories);

  // The next page, its label and groups set, or an error; nothing at the end.
  [[nodiscard]] std::optional<PageItem> next();

 private:
  struct Input {
    std::string path;
    int label;  // 0: the pages tell their own
    std::map<std::string, std::string> groups;
    std::string origin;  // before the text of an error: the manifest and line that name the page
  };
  [[nodiscard]] PageItem labelled(PageItem item, const Input& input) const;

  std::vector<Input> inputs_;
  std::vector<std::string> errors_;  // of the manifest, given first
  std::size_t nextError_ = 0;
  std::size_t at_ = 0;
  std::unique_ptr<PageSource> open_;
  int categories_;
};

}  // namespace sifterra::tools
