// FakePage: a page model whose answers a test sets. It has no images or links; pages for those are parsed.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sifterra/page/WFWebPageProtocol.h"

namespace sifterra {

struct FakePage : WFWebPageProtocol {
  platform::String title;
  platform::String description;
  platform::String keywords;
  WFMetaTags labeled;
  std::vector<platform::String> unlabeled;
  std::vector<platform::String> scripts;
  std::vector<WFImg> imgs;
  platform::String content;
  std::vector<WFLink> anchors;
  bool frameset = false;
  bool refresh = false;

  [[nodiscard]] platform::String URLString() const override { return platform::String(u"the model's own"); }
  [[nodiscard]] platform::String pageTitle() const override { return title; }
  [[nodiscard]] platform::String metaTagDescription() const override { return description; }
  [[nodiscard]] platform::String metaTagKeywords() const override { return keywords; }
  [[nodiscard]] const WFMetaTags& metaTagsLabeled() const override { return labeled; }
  [[nodiscard]] const std::vector<platform::String>& metaTagsUnlabeled() const override { return unlabeled; }
  [[nodiscard]] const std::vector<platform::String>& scriptBlocks() const override { return scripts; }
  [[nodiscard]] const std::vector<WFImg>& images() const override { return imgs; }
  [[nodiscard]] platform::String pageContent() const override { return content; }
  [[nodiscard]] const std::vector<WFLink>& links() const override { return anchors; }
  [[nodiscard]] bool hasFrameset() const override { return frameset; }
  [[nodiscard]] bool hasShortRefresh() const override { return refresh; }
};

// A page of this content and nothing else.
inline std::shared_ptr<FakePage> fakePage(std::u16string content) {
  auto page = std::make_shared<FakePage>();
  page->content = platform::String(std::move(content));
  return page;
}

}  // namespace sifterra
