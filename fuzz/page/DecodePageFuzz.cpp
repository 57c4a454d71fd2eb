// Any bytes under any charset label decode to a text with our declaration in front, no zero and no lone
// half of a surrogate pair in it, that the parser accepts. What is left out of it changes nothing: the page
// to show has the same model.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "page/parsed_depth.h"
#include "platform/Log.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/page/decodePage.h"

namespace {

using namespace sifterra;

void requireSameModel(const platform::String& judged, const platform::String& shown) {
  const auto a = WFTreeHTMLStripper::treeStripperWithString(judged);
  const auto b = WFTreeHTMLStripper::treeStripperWithString(shown);
  if (!a || !b) std::abort();
  bool same = a->pageContent() == b->pageContent() && a->pageTitle() == b->pageTitle() &&
              a->metaTagsLabeled().contents == b->metaTagsLabeled().contents &&
              a->metaTagsUnlabeled() == b->metaTagsUnlabeled() && a->scriptBlocks() == b->scriptBlocks() &&
              a->images().size() == b->images().size() && a->links().size() == b->links().size() &&
              a->hasFrameset() == b->hasFrameset() && a->hasShortRefresh() == b->hasShortRefresh();
  for (std::size_t i = 0; same && i < a->images().size(); ++i) {
    same = a->images()[i].description() == b->images()[i].description() &&
           a->images()[i].title() == b->images()[i].title();
  }
  for (std::size_t i = 0; same && i < a->links().size(); ++i) {
    same = a->links()[i].title() == b->links()[i].title();
  }
  if (!same) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using platform::Data;
  using platform::String;
  platform::Logger::setLevel(platform::LogLevel::Off);
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  String charset;
  if (const std::size_t line = bytes.find('\n'); line < 40) {  // the first line may name a charset
    charset = String::fromUTF8Lossy(bytes.substr(0, line));
    bytes.remove_prefix(line + 1);
  }
  const String text = decodePage(Data(std::string(bytes)), charset);
  if (!text || !text.view().starts_with(u"<!--charset=\"UTF-8\"-->")) std::abort();
  if (text.view().find(u'\0') != std::u16string_view::npos) std::abort();
  // Every byte gives one unit at most, but for the repairs and a few legacy pairs.
  if (text.length() > 64 + 16 * bytes.size()) std::abort();
  if (!tests::parsedAsUTF8(text.toUTF8())) std::abort();
  requireSameModel(text, decodePageToShow(Data(std::string(bytes)), charset));
  return 0;
}
