// category_option: the value "N=DIR" of --category, a folder whose pages all are of category N.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sifterra::tools {

inline constexpr int kMostCategories = 9;

struct CategoryFolder {
  int category;  // 1 to 9
  std::string folder;
};

// Nothing when the value has another form, the number is out of range or the folder is "".
[[nodiscard]] inline std::optional<CategoryFolder> parseCategoryFolder(std::string_view value) {
  if (value.size() < 3 || value[1] != '=' || value[0] < '1' || value[0] > '0' + kMostCategories)
    return std::nullopt;
  return CategoryFolder{value[0] - '0', std::string(value.substr(2))};
}

}  // namespace sifterra::tools
