// WFWebPageDecorator: a page model as one plain text in labelled sections.
//
//   auto page = WFWebPageDecorator::webPageWithString(html);
//   page->plainText();    // what a reader or a classifier gets
//   page->rawPlainText()  // the same before markup-like runs are removed
//
// Forwards everything of the page model and adds image statistics, link titles and tags. Subclasses
// replace rawPlainText. A decorator over no model (no bytes, a failed parse) exists and is empty.
//
// The image statistics are made at first use without a lock: a decorator is used by one thread at a
// time, except for its URLString, which is read and written atomically.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "sifterra/page/WFWebPageProtocol.h"
#include "sifterra/platform/Data.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/text/WFImgArrayCache.h"

namespace sifterra {

class WF_API WFWebPageDecorator : public WFWebPageProtocol {
 public:
  static constexpr const char* kClassName = "WFWebPageDecorator";

  // The decorator keeps the model, and with it the parsed document, alive. Null is allowed.
  explicit WFWebPageDecorator(
      std::shared_ptr<const WFWebPageProtocol> webPageStripper);       // initWithWebPageStripper:
  explicit WFWebPageDecorator(const platform::Data& webPageData);      // initWithWebPageData:
  explicit WFWebPageDecorator(const platform::String& webPageString);  // initWithWebPageString:
  ~WFWebPageDecorator() override;
  WFWebPageDecorator(const WFWebPageDecorator&) = delete;
  WFWebPageDecorator& operator=(const WFWebPageDecorator&) = delete;

  // Class operations. Each subclass has its own of the same names, which make its own kind.
  [[nodiscard]] static std::shared_ptr<WFWebPageDecorator> webPageWithData(const platform::Data& data);
  [[nodiscard]] static std::shared_ptr<WFWebPageDecorator> webPageWithString(const platform::String& string);
  [[nodiscard]] static std::shared_ptr<WFWebPageDecorator> webPageWithData(const platform::Data& data,
                                                                           const platform::String& URLString);
  [[nodiscard]] static std::shared_ptr<WFWebPageDecorator> webPageWithString(
      const platform::String& string, const platform::String& URLString);
  [[nodiscard]] static platform::String plainTextWithWebPageData(const platform::Data& data);
  [[nodiscard]] static platform::String plainTextWithWebPageString(const platform::String& string);

  // The page's address, null unless set.
  [[nodiscard]] platform::String URLString() const override;
  void setURLString(const platform::String& URLString);

  // The page model's own; null, empty or false without a model.
  [[nodiscard]] platform::String pageTitle() const override;
  [[nodiscard]] platform::String metaTagDescription() const override;
  [[nodiscard]] platform::String metaTagKeywords() const override;
  [[nodiscard]] const WFMetaTags& metaTagsLabeled() const override;
  [[nodiscard]] const std::vector<platform::String>& metaTagsUnlabeled() const override;
  [[nodiscard]] const std::vector<platform::String>& scriptBlocks() const override;
  [[nodiscard]] const std::vector<WFImg>& images() const override;
  [[nodiscard]] platform::String pageContent() const override;
  [[nodiscard]] const std::vector<WFLink>& links() const override;
  [[nodiscard]] bool hasFrameset() const override;
  [[nodiscard]] bool hasShortRefresh() const override;

  // What the images tell (see WFImgArrayCache).
  [[nodiscard]] std::int64_t numberOfImages() const;
  [[nodiscard]] platform::String imageAltsText() const;
  [[nodiscard]] std::int64_t numberOfUnknownSizedImages() const;
  [[nodiscard]] std::int64_t numberOfKnownImagePixels() const;
  // Every link title that there is, empty ones too, each with a line feed.
  [[nodiscard]] platform::String linkTitlesText() const;
  // Always 0.
  [[nodiscard]] std::int64_t wordCount() const noexcept { return 0; }
  // The tag words of the page, possibly none (see WFTagFactory).
  [[nodiscard]] virtual platform::String tags() const;

  // One section: the title, a line feed, then `weight` times (never for 0 or less) the value of the
  // accessor and a line feed. The value of an accessor that the decorator does not answer, or that
  // answers null, is the empty string; an array has one element per line.
  [[nodiscard]] std::u16string plainTextAttributeWithSelector(std::string_view accessor,
                                                              std::u16string_view title,
                                                              std::int32_t weight = 1) const;

  // The whole text, section by section.
  [[nodiscard]] virtual std::u16string rawPlainText() const;
  // rawPlainText without markup-like runs, and with "_", "-", "<", ">" as spaces.
  [[nodiscard]] virtual platform::String plainText() const;

 protected:
  // One section of a layout, by the accessor of its value.
  struct Section {
    std::string_view accessor;
    std::u16string_view title;
    std::int32_t weight = 1;
  };
  // The heading followed by the sections, in one buffer of the right size.
  [[nodiscard]] std::u16string layOut(std::u16string_view heading, std::span<const Section> sections) const;
  // Exactly the post-processed layOut(heading, sections), without ever building that text.
  [[nodiscard]] platform::String postprocessedLayOut(std::u16string_view heading,
                                                     std::span<const Section> sections) const;

  // What an initialiser takes.
  using Argument = std::variant<platform::Data, platform::String>;

  // The plain text of a new instance of the kind, made by the named initialiser; the empty string, with an
  // error line, when the kind has no such initialiser.
  template <class Kind>
  [[nodiscard]] static platform::String _plainTextWithSelector(std::string_view selector,
                                                               const Argument& object);

 private:
  // The value of an accessor as text, null for none.
  [[nodiscard]] platform::String textOfAccessor(std::string_view accessor) const;
  [[nodiscard]] std::vector<platform::String> valuesOf(std::span<const Section> sections) const;
  [[nodiscard]] static std::size_t lengthOf(std::span<const Section> sections,
                                            std::span<const platform::String> values);
  void _cacheImgProperties() const;
  static void logMissingInitialiser(const char* className, std::string_view selector);

  const std::shared_ptr<const WFWebPageProtocol> _webPageStripper;
  mutable std::optional<WFImgArrayCache> _pageImagesPropertyCache;
  mutable platform::String _imageAltsText;  // null until asked for; a verdict asks for no sizes
  mutable std::mutex _URLStringLock;
  platform::String _URLString;
};

template <class Kind>
platform::String WFWebPageDecorator::_plainTextWithSelector(std::string_view selector,
                                                            const Argument& object) {
  const auto* data = std::get_if<platform::Data>(&object);
  if (selector == "initWithWebPageData:" && data) return Kind(*data).plainText();
  const auto* string = std::get_if<platform::String>(&object);
  if (selector == "initWithWebPageString:" && string) return Kind(*string).plainText();
  logMissingInitialiser(Kind::kClassName, selector);
  return platform::String(u"");
}

}  // namespace sifterra
