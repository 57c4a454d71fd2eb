// WFWebPageProtocol: what the text layer needs to know of a page.
//
// Anything that answers these can stand as a page model. References that are handed out live as long
// as the object.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sifterra/page/WFImg.h"
#include "sifterra/page/WFLink.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// Labels in lower case, each with the content of its first meta tag. Ordered, not hashed: a page chooses its
// labels and could make them collide.
struct WFMetaTags {
  [[nodiscard]] WF_API platform::String contentForLabel(std::u16string_view label) const;  // null when absent
  std::map<std::u16string, platform::String, std::less<>> contents;
};

class WF_API WFWebPageProtocol {
 public:
  virtual ~WFWebPageProtocol() = default;
  [[nodiscard]] virtual platform::String URLString() const = 0;
  [[nodiscard]] virtual platform::String pageTitle() const = 0;
  [[nodiscard]] virtual platform::String metaTagDescription() const = 0;
  [[nodiscard]] virtual platform::String metaTagKeywords() const = 0;
  [[nodiscard]] virtual const WFMetaTags& metaTagsLabeled() const = 0;
  [[nodiscard]] virtual const std::vector<platform::String>& metaTagsUnlabeled() const = 0;
  [[nodiscard]] virtual const std::vector<platform::String>& scriptBlocks() const = 0;
  [[nodiscard]] virtual const std::vector<WFImg>& images() const = 0;
  [[nodiscard]] virtual platform::String pageContent() const = 0;
  [[nodiscard]] virtual const std::vector<WFLink>& links() const = 0;
  [[nodiscard]] virtual bool hasFrameset() const = 0;
  [[nodiscard]] virtual bool hasShortRefresh() const = 0;
};

}  // namespace sifterra
