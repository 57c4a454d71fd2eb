// WFTreeHTMLStripper: a page's bytes, parsed by libxml2 and kept as page model and document.
#pragma once

#include <memory>

#include "sifterra/page/WFTreeXMLDocumentStripper.h"
#include "sifterra/platform/Data.h"

namespace sifterra {

class WF_API WFTreeHTMLStripper : public WFTreeXMLDocumentStripper {
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
  struct FreeDocument {
    void operator()(_xmlDoc* document) const noexcept;
  };
  bool initWithData(platform::Data data);
  bool initWithString(const platform::String& string);
  [[nodiscard]] const char* className() const override { return "WFTreeHTMLStripper"; }

  std::unique_ptr<_xmlDoc, FreeDocument> _document;  // goes before the page model, whose images point into it
};

}  // namespace sifterra
