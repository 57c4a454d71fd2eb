// WFTreeXMLDocumentStripper: walks a parsed document once and keeps the page model.
//
// The images and links point into the document, which must outlive them; a WFTreeHTMLStripper owns
// its document, this class does not.
#pragma once

#include <memory>
#include <string>

#include "sifterra/page/WFWebPageProtocol.h"

struct _xmlDoc;
struct _xmlNode;

namespace sifterra {

class WF_API WFTreeXMLDocumentStripper : public WFWebPageProtocol {
 public:
  // Null, with an error line, when the document is null.
  [[nodiscard]] static std::shared_ptr<WFTreeXMLDocumentStripper> treeStripperWithXMLDocument(
      _xmlDoc* document);

  [[nodiscard]] platform::String URLString() const override { return nullptr; }
  [[nodiscard]] platform::String pageTitle() const override { return _pageTitle; }
  void setPageTitle(const platform::String& title) { _pageTitle = title; }
  [[nodiscard]] platform::String metaTagDescription() const override;
  [[nodiscard]] platform::String metaTagKeywords() const override;
  [[nodiscard]] platform::String metaTagRating() const;
  [[nodiscard]] const WFMetaTags& metaTagsLabeled() const override { return _metaTagsLabeled; }
  [[nodiscard]] const std::vector<platform::String>& metaTagsUnlabeled() const override {
    return _metaTagsUnlabeled;
  }
  [[nodiscard]] const std::vector<platform::String>& scriptBlocks() const override { return _scriptBlocks; }
  [[nodiscard]] const std::vector<WFImg>& images() const override { return _images; }
  [[nodiscard]] platform::String pageContent() const override { return _pageContent; }
  [[nodiscard]] const std::vector<WFLink>& links() const override { return _links; }
  [[nodiscard]] bool hasFrameset() const override { return _hasFrameset; }
  [[nodiscard]] bool hasShortRefresh() const override { return _hasShortRefresh; }
  [[nodiscard]] platform::String description() const;

 protected:
  WFTreeXMLDocumentStripper() = default;
  // False, with an error line, when the document is null.
  bool initWithXMLDocument(_xmlDoc* document);
  void strip(_xmlDoc* document);
  void processXMLDocument(_xmlDoc* document);
  // The page's text; fills everything else on the way. Comments never add text, whatever the flag says.
  platform::String processXMLDocument(_xmlDoc* document, bool blockComments);
  [[nodiscard]] virtual const char* className() const { return "WFTreeXMLDocumentStripper"; }

 private:
  void processNode(_xmlNode* node, std::u16string& text);
  void processMetaTag(const _xmlNode* node);

  platform::String _pageTitle;
  WFMetaTags _metaTagsLabeled;
  std::vector<platform::String> _metaTagsUnlabeled;
  std::vector<platform::String> _scriptBlocks;
  std::vector<WFImg> _images;
  platform::String _pageContent;
  std::vector<WFLink> _links;
  bool _hasFrameset = false;
  bool _hasShortRefresh = false;
};

}  // namespace sifterra
