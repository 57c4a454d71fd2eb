#include "evaluation/LabelledSource.h"

#include <array>
#include <string_view>
#include <utility>

namespace sifterra::tools {
namespace {

// The members of a JSON line by which pages are grouped; the rest are names, addresses and the like.
constexpr std::array<std::string_view, 4> kGroups = {"lang", "kind", "topic", "group"};

}  // namespace

LabelledSource::LabelledSource(std::vector<CategoryFolder> folders, const std::string& manifest,
                               std::vector<std::string> files, int categories)
    : categories_(categories) {
  for (CategoryFolder& folder : folders)
    inputs_.push_back({std::move(folder.folder), folder.category, {}, ""});
  if (!manifest.empty()) {
    Manifest read = readManifest(manifest);
    errors_ = std::move(read.errors);
    for (ManifestRow& row : read.rows) {
      inputs_.push_back({std::move(row.file), row.label, std::move(row.groups),
                         manifest + ":" + std::to_string(row.line) + ": "});
    }
  }
  for (std::string& file : files) inputs_.push_back({std::move(file), 0, {}, ""});
}

PageItem LabelledSource::labelled(PageItem item, const Input& input) const {
  if (item.error) {
    item.error = input.origin + *item.error;
    return item;
  }
  if (input.label != 0) {
    item.page.label = input.label;
    item.page.attributes = input.groups;
  } else {
    std::map<std::string, std::string> groups;
    for (const std::string_view name : kGroups) {
      const auto found = item.page.attributes.find(std::string(name));
      if (found != item.page.attributes.end() && !found->second.empty()) groups.insert(*found);
    }
    item.page.attributes = std::move(groups);
  }
  if (item.page.label == 0) {
    item.error =
        input.origin + item.page.name() + ": the page has no label (expected \"label\" in its JSON object)";
  } else if (item.page.label > categories_) {
    item.error = input.origin + item.page.name() + ": label " + std::to_string(item.page.label) +
                 ", but the map has " + std::to_string(categories_) + " categories";
  }
  return item;
}

std::optional<PageItem> LabelledSource::next() {
  if (nextError_ < errors_.size()) {
    PageItem item;
    item.error = errors_[nextError_++];
    return item;
  }
  for (; at_ < inputs_.size(); ++at_, open_.reset()) {
    if (!open_) open_ = openPageSource(inputs_[at_].path);
    if (std::optional<PageItem> item = open_->next()) return labelled(std::move(*item), inputs_[at_]);
  }
  return std::nullopt;
}

}  // namespace sifterra::tools
