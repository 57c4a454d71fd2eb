// Any bytes of which the parser makes a document have a model (without zeros at the front, where they look
// like UTF-16 or UCS-4 to it, that is any at all); the model is bounded by the bytes, agrees with the plain
// walk and comes out the same twice.
#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "page/charset_declaration.h"
#include "page/parse_html.h"
#include "platform/CharacterSet.h"
#include "platform/Log.h"
#include "reference/plain_walk.h"
#include "sifterra/page/WFTreeHTMLStripper.h"

namespace {

using namespace sifterra;

void require(bool holds) {
  if (!holds) std::abort();
}

// The text of the same bytes by the plain walk over a parse of its own; nothing without a document.
std::optional<std::u16string> plainContent(std::string_view page) {
  const auto declared = declaredCharset(page);
  const auto canonical = declared ? platform::canonicalIANACharacterSetName(*declared) : std::nullopt;
  const auto encoding = canonical ? encodingNameForParser(*canonical) : std::nullopt;
  const HTMLDocument document = parseHTML(page, encoding ? encoding->data() : nullptr);
  if (!document) return std::nullopt;
  return reference::plainPageContent(document.get());
}

void checkModel(const WFTreeHTMLStripper& model, std::size_t size) {
  const std::u16string_view content = model.pageContent().view();
  require(content.starts_with(u' ') && content.ends_with(u' '));
  // A byte gives two units at most (a pair of a legacy set), a text node one space more, and a node takes
  // at least one byte.
  const std::size_t limit = 3 * size + 1;
  require(content.size() <= limit);
  require(model.pageTitle().length() <= limit);
  std::size_t scripts = 0;
  for (const platform::String& script : model.scriptBlocks()) {
    require(!script.isNull());
    scripts += script.length();
  }
  require(scripts <= limit);
  for (const auto& [label, value] : model.metaTagsLabeled().contents) {
    require(!value.isNull() && label.size() <= 3 * limit && value.length() <= limit);
  }
  for (const platform::String& value : model.metaTagsUnlabeled()) require(value.length() <= limit);
  for (const WFImg& image : model.images()) {
    require(image.alt().length() <= limit && image.title().length() <= limit &&
            image.src().length() <= limit);
    const bool known = image.width() != -1 && image.height() != -1;
    require(image.area() == (known ? image.width() * image.height() : -1));
  }
  for (const WFLink& link : model.links()) {
    require(link.title().length() <= limit);
    if (const platform::URL url = link.url()) require(url.absoluteString().length() <= limit);
  }
  require(model.images().size() + model.links().size() + model.scriptBlocks().size() <= size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  platform::Logger::setLevel(platform::LogLevel::Off);
  const std::string_view page(reinterpret_cast<const char*>(data), size);
  const platform::Data bytes{std::string(page)};
  const auto model = WFTreeHTMLStripper::treeStripperWithData(bytes);
  const std::optional<std::u16string> plain = plainContent(page);
  require((model != nullptr) == plain.has_value());
  const bool hasEarlyZero = page.substr(0, 4).find('\0') != std::string_view::npos;
  require(model != nullptr || size == 0 || hasEarlyZero);
  if (!model) return 0;
  checkModel(*model, size);
  require(model->pageContent().view() == *plain);

  const auto again = WFTreeHTMLStripper::treeStripperWithData(bytes);
  require(again->pageContent() == model->pageContent() && again->pageTitle() == model->pageTitle());
  require(again->metaTagsLabeled().contents == model->metaTagsLabeled().contents);
  require(again->metaTagsUnlabeled() == model->metaTagsUnlabeled());
  require(again->scriptBlocks() == model->scriptBlocks());
  require(again->images().size() == model->images().size() && again->links().size() == model->links().size());
  require(again->hasFrameset() == model->hasFrameset() &&
          again->hasShortRefresh() == model->hasShortRefresh());
  return 0;
}
