// Filter text of any page model: the layout in one buffer is the plain one, its clean form is the cleaned
// layout, and the tags are those of the lower-casing way. Lines: title, description, keywords, content.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "reference/fuzz_units.h"
#include "reference/plain_layout.h"
#include "reference/plain_tags.h"
#include "sifterra/page/WFPostprocessor.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "text/FakePage.h"

namespace {

using namespace sifterra;

void check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 2048) return 0;  // the plain search takes quadratic time
  const auto fields = reference::fieldsOf(reference::unitsFrom(data, size), 4);
  const auto optional = [](const std::u16string& text) {
    return text.empty() ? platform::String() : platform::String(std::u16string(text));
  };
  auto model = fakePage(fields[3]);
  model->title = optional(fields[0]);
  model->description = optional(fields[1]);
  model->keywords = optional(fields[2]);
  const WFWebPageToFilterText page(model);

  const std::u16string raw = page.rawPlainText();
  check(raw == reference::filterText(page));
  check(page.plainText() ==
        WFPostprocessor::postprocessPlainTextWebPage(platform::String(std::u16string(raw))));
  check(page.tags().view() == reference::tagsOf(fields[3]));

  std::int32_t evidence = 0;
  platform::String message;
  const bool worth = page.isWorthAnalyzingWithEvidence(evidence, message);
  check(worth == (evidence == 0));  // a fake page has no frames: only little content is told of
  check(worth || (evidence == 5 && fields[3].size() < 60));
  return 0;
}
