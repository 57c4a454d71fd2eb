#include "labelled_options.h"

#include <CLI/CLI.hpp>
#include <optional>

namespace sifterra::tools {

std::vector<CategoryFolder> LabelledPages::folders() const {
  std::vector<CategoryFolder> folders;
  for (const std::string& value : categories) {
    if (std::optional<CategoryFolder> folder = parseCategoryFolder(value))
      folders.push_back(std::move(*folder));
  }
  return folders;
}

void addLabelledOptions(CLI::App& command, LabelledPages& pages) {
  command.add_option("FILE", pages.files, "Self-labelled JSON lines (.jsonl, .jsonl.gz)")->type_name("");
  command.add_option("--category", pages.categories, "A folder, or archive, of pages of category N (1 to 9)")
      ->type_name("N=DIR")
      ->allow_extra_args(false)
      ->check(CLI::Validator(
          [](const std::string& value) {
            return parseCategoryFolder(value) ? std::string()
                                              : "expected N=DIR with N from 1 to 9, not " + value;
          },
          ""));
}

}  // namespace sifterra::tools
