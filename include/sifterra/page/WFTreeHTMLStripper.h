// WFTreeHTMLStripper: a page's bytes, parsed by libxml2 and kept as page model and document.
#pragma once

#include <memory>

#include "sifterra/page/WFTreeXMLDocumentStripper.h"
#include "sifterra/platform/Data.h"

namespace sifterra {

// Owns a parsed document. A base and not a member, and the first of the bases, because those end last: the
// page model, whose images and links point into the document, goes before it. That is faster, too: freed the
// other way round, the document's thousands of nodes lie below the model's texts, and the allocator cannot
// join them with the rest of the heap.
class WFHTMLDocumentOwner {
 protected:
  struct FreeDocument {
    void operator()(_xmlDoc* document) const noexcept;
  };
  std::unique_ptr<_xmlDoc, FreeDocument> _document;
};

class WF_API WFTreeHTMLStripper : private WFHTMLDocumentOwner, public WFTreeXMLDocumentStripper {
 public:
  WFTreeHTMLStripper(const WFTreeHTMLStripper&) = delete;
  WFTreeHTMLStripper& operator=(const WFTreeHTMLStripper&) = delete;

  // Null when there is no data or no document comes of it.
  [[nodiscard]] static std::shared_ptr<WFTreeHTMLStripper> treeStripperWithData(const platform::Data& data);
  // The same for the string's UTF-8 form.
  [[nodiscard]] static std::shared_ptr<WFTreeHTMLStripper> treeStripperWithString(
      const platform::String& string);

 private:
  WFTreeHTMLStripper() = default;
  bool initWithData(platform::Data data);
  bool initWithString(const platform::String& string);
  [[nodiscard]] const char* className() const override { return "WFTreeHTMLStripper"; }
};

}  // namespace sifterra
