// WFWebPageDecorator: forwarding, derived facts, and the layout of sections.
#include "sifterra/text/WFWebPageDecorator.h"

#include <algorithm>
#include <array>
#include <utility>

#include "page/strip_markup.h"
#include "sifterra/page/WFPostprocessor.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/text/WFTagFactory.h"
#include "util/log.h"
#include "util/string_helpers.h"
#include "util/unit_search.h"

namespace sifterra {

using platform::Data;
using platform::String;

namespace {

using Page = WFWebPageDecorator;

// The accessors that a section may name: those whose value is text, or an array of things that have a
// text form. Called through the object, so that a subclass's own answer counts.
struct Accessor {
  std::string_view name;
  String (*value)(const Page&);
};

constexpr std::array<Accessor, 11> kAccessors = {{
    {"pageTitle", [](const Page& page) { return page.pageTitle(); }},
    {"tags", [](const Page& page) { return page.tags(); }},
    {"metaTagDescription", [](const Page& page) { return page.metaTagDescription(); }},
    {"metaTagKeywords", [](const Page& page) { return page.metaTagKeywords(); }},
    {"imageAltsText", [](const Page& page) { return page.imageAltsText(); }},
    {"linkTitlesText", [](const Page& page) { return page.linkTitlesText(); }},
    {"pageContent", [](const Page& page) { return page.pageContent(); }},
    {"scriptBlocks", [](const Page& page) { return String(stringFromArray(page.scriptBlocks())); }},
    {"metaTagsUnlabeled", [](const Page& page) { return String(stringFromArray(page.metaTagsUnlabeled())); }},
    {"images", [](const Page& page) { return String(stringFromArray<WFImg>(page.images())); }},
    {"URLString", [](const Page& page) { return page.URLString(); }},
}};

std::size_t repetitions(std::int32_t weight) {
  return static_cast<std::size_t>(std::max(weight, 0));
}

void appendLine(std::u16string& text, std::u16string_view line) {
  text.append(line).push_back(u'\n');
}

void appendSection(std::u16string& text, std::u16string_view title, std::u16string_view value,
                   std::int32_t weight) {
  appendLine(text, title);
  for (std::size_t i = 0; i < repetitions(weight); ++i) appendLine(text, value);
}

// Appends the lines of a text without their tags, a line feed behind each.
void appendWithoutTags(std::u16string& out, std::u16string_view lines) {
  for (;;) {
    const std::size_t end = findUnit(lines, u'\n');
    appendLineWithoutTags(lines.substr(0, end), out);
    out.push_back(u'\n');
    if (end == std::u16string_view::npos) return;
    lines.remove_prefix(end + 1);
  }
}

}  // namespace

Page::WFWebPageDecorator(std::shared_ptr<const WFWebPageProtocol> webPageStripper)
    : _webPageStripper(std::move(webPageStripper)) {}
Page::WFWebPageDecorator(const Data& webPageData)
    : _webPageStripper(WFTreeHTMLStripper::treeStripperWithData(webPageData)) {}
Page::WFWebPageDecorator(const String& webPageString)
    : _webPageStripper(WFTreeHTMLStripper::treeStripperWithString(webPageString)) {}
Page::~WFWebPageDecorator() = default;

std::shared_ptr<Page> Page::webPageWithData(const Data& data) {
  return std::make_shared<Page>(data);
}
std::shared_ptr<Page> Page::webPageWithString(const String& string) {
  return std::make_shared<Page>(string);
}
std::shared_ptr<Page> Page::webPageWithData(const Data& data, const String& URLString) {
  auto page = webPageWithData(data);
  page->setURLString(URLString);
  return page;
}
std::shared_ptr<Page> Page::webPageWithString(const String& string, const String& URLString) {
  auto page = webPageWithString(string);
  page->setURLString(URLString);
  return page;
}
String Page::plainTextWithWebPageData(const Data& data) {
  return _plainTextWithSelector<Page>("initWithWebPageData:", data);
}
String Page::plainTextWithWebPageString(const String& string) {
  return _plainTextWithSelector<Page>("initWithWebPageString:", string);
}

void Page::logMissingInitialiser(const char* className, std::string_view selector) {
  constexpr auto kOp = "+[WFWebPageDecorator _plainTextWithSelector:object:]";
  logError("%s -- %{public}@ doesn't respond to selector:%{public}@", kOp, String::fromUTF8Lossy(className),
           String::fromUTF8Lossy(selector));
}

String Page::URLString() const {
  const std::lock_guard held(_URLStringLock);
  return _URLString;
}
void Page::setURLString(const String& URLString) {
  String replaced = URLString;  // the old one goes after the lock
  const std::lock_guard held(_URLStringLock);
  std::swap(_URLString, replaced);
}

String Page::pageTitle() const {
  return _webPageStripper ? _webPageStripper->pageTitle() : String();
}
String Page::metaTagDescription() const {
  return _webPageStripper ? _webPageStripper->metaTagDescription() : String();
}
String Page::metaTagKeywords() const {
  return _webPageStripper ? _webPageStripper->metaTagKeywords() : String();
}
const WFMetaTags& Page::metaTagsLabeled() const {
  static const WFMetaTags& none = *new WFMetaTags();  // outlives what runs at exit
  return _webPageStripper ? _webPageStripper->metaTagsLabeled() : none;
}
const std::vector<String>& Page::metaTagsUnlabeled() const {
  static const std::vector<String>& none = *new std::vector<String>();
  return _webPageStripper ? _webPageStripper->metaTagsUnlabeled() : none;
}
const std::vector<String>& Page::scriptBlocks() const {
  static const std::vector<String>& none = *new std::vector<String>();
  return _webPageStripper ? _webPageStripper->scriptBlocks() : none;
}
const std::vector<WFImg>& Page::images() const {
  static const std::vector<WFImg>& none = *new std::vector<WFImg>();
  return _webPageStripper ? _webPageStripper->images() : none;
}
String Page::pageContent() const {
  return _webPageStripper ? _webPageStripper->pageContent() : String();
}
const std::vector<WFLink>& Page::links() const {
  static const std::vector<WFLink>& none = *new std::vector<WFLink>();
  return _webPageStripper ? _webPageStripper->links() : none;
}
bool Page::hasFrameset() const {
  return _webPageStripper && _webPageStripper->hasFrameset();
}
bool Page::hasShortRefresh() const {
  return _webPageStripper && _webPageStripper->hasShortRefresh();
}

std::int64_t Page::numberOfImages() const {
  return static_cast<std::int64_t>(images().size());
}
void Page::_cacheImgProperties() const {
  if (!_pageImagesPropertyCache) _pageImagesPropertyCache = WFImgArrayCache::imgArrayCacheWithArray(images());
}
String Page::imageAltsText() const {
  if (!_imageAltsText) _imageAltsText = WFImgArrayCache::alternativeDescriptionsOfArray(images());
  return _imageAltsText;
}
std::int64_t Page::numberOfUnknownSizedImages() const {
  _cacheImgProperties();
  return _pageImagesPropertyCache->numberOfUnknownSizedImages();
}
std::int64_t Page::numberOfKnownImagePixels() const {
  _cacheImgProperties();
  return _pageImagesPropertyCache->numberOfKnownImagePixels();
}

String Page::linkTitlesText() const {
  std::u16string text;
  for (const WFLink& link : links()) {
    if (const String title = link.title()) appendLine(text, title.view());
  }
  return String(std::move(text));
}

String Page::tags() const {
  return WFTagFactory::tagsForWebpage(*this);
}

String Page::textOfAccessor(std::string_view accessor) const {
  const auto* found = std::find_if(kAccessors.begin(), kAccessors.end(),
                                   [&](const Accessor& known) { return known.name == accessor; });
  return found == kAccessors.end() ? String() : found->value(*this);
}

std::u16string Page::plainTextAttributeWithSelector(std::string_view accessor, std::u16string_view title,
                                                    std::int32_t weight) const {
  std::u16string text;
  appendSection(text, title, textOfAccessor(accessor).view(), weight);
  return text;
}

std::u16string Page::rawPlainText() const {
  // Kept: five of the titles bring a line break of their own, the first two do not.
  static constexpr std::array<Section, 7> kSections = {{
      {"pageTitle", u"======= pageTitle ======="},
      {"tags", u"======= tags ======="},
      {"metaTagDescription", u"======= metaTagDescription =======\n"},
      {"metaTagKeywords", u"======= metaTagKeywords =======\n"},
      {"scriptBlocks", u"======= scriptBlocks (array) =======\n"},
      {"imageAltsText", u"======= imageAltsText (array) =======\n"},
      {"pageContent", u"======= pageContent =======\n"},
  }};
  return layOut(u"[WFWebPageDecorator rawPlainText]\n\n", kSections);
}

String Page::plainText() const {
  return WFPostprocessor::postprocessPlainTextWebPage(String(rawPlainText()));
}

std::vector<String> Page::valuesOf(std::span<const Section> sections) const {
  std::vector<String> values;
  values.reserve(sections.size());
  for (const Section& section : sections) values.push_back(textOfAccessor(section.accessor));
  return values;
}

std::size_t Page::lengthOf(std::span<const Section> sections, std::span<const String> values) {
  std::size_t length = 0;
  for (std::size_t i = 0; i < sections.size(); ++i) {
    length += sections[i].title.size() + 1 + repetitions(sections[i].weight) * (values[i].length() + 1);
  }
  return length;
}

std::u16string Page::layOut(std::u16string_view heading, std::span<const Section> sections) const {
  const std::vector<String> values = valuesOf(sections);
  std::u16string text;
  text.reserve(heading.size() + lengthOf(sections, values));
  text.append(heading);
  for (std::size_t i = 0; i < sections.size(); ++i) {
    appendSection(text, sections[i].title, values[i].view(), sections[i].weight);
  }
  return text;
}

String Page::postprocessedLayOut(std::u16string_view heading, std::span<const Section> sections) const {
  // Tags are looked for line by line, so each value is cleaned once and the clean lines are repeated. A
  // hostile title of some megabytes is then never held fifteen times over beside its clean copy.
  const std::vector<String> values = valuesOf(sections);
  std::u16string text;
  text.reserve(heading.size() + lengthOf(sections, values) + 1);
  if (heading.ends_with(u'\n')) heading.remove_suffix(1);  // the cleaning puts it back
  appendWithoutTags(text, heading);
  for (std::size_t i = 0; i < sections.size(); ++i) {
    appendWithoutTags(text, sections[i].title);
    const std::size_t count = repetitions(sections[i].weight);
    if (count == 0) continue;
    const std::size_t start = text.size();
    appendWithoutTags(text, values[i].view());
    const std::size_t length = text.size() - start;
    for (std::size_t n = 1; n < count; ++n) text.append(text, start, length);
  }
  text.push_back(u'\n');  // the line behind the last line feed is empty, and gets its own
  normalizePunctuation(text);
  return String(std::move(text));
}

}  // namespace sifterra
