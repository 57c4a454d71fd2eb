// WFWebPageToFilterText: marker words, weights, and the questions that come before classification.
//
// Markers, weights and limits are part of the trained maps: changing one changes every score.
#include "sifterra/text/WFWebPageToFilterText.h"

#include <array>
#include <utility>

#include "platform/Unicode.h"
#include "sifterra/text/WFWebPageToTrainingText.h"
#include "text/self_label.h"
#include "util/decimal.h"
#include "util/log.h"
#include "util/string_helpers.h"

namespace sifterra {

using platform::String;

namespace {

constexpr std::u16string_view kDocumentSignature = u"ooooooooooooWFWebPageToFilterTextoooooooooooo";
constexpr std::u16string_view kAdvertisingWord = u"oooAooLEGITTIMATEooWORDooFORooADVERTISINGoooo";

// A page below all of these is looked at for having any content at all.
constexpr std::size_t kLittleContent = 60;  // units of page content
constexpr std::size_t kFewScripts = 4;      // script blocks
constexpr std::size_t kLittleMeta = 5;      // units of keywords, and of description
constexpr std::size_t kEnoughTrimmed = 16;  // units of content without surrounding white space
constexpr std::size_t kLotOfContent = 127;  // units; more of them are analysed despite a frameset

// What filter text writes before its sections.
std::u16string heading() {
  std::u16string text(kDocumentSignature);
  text.append(u"\n\n").append(kAdvertisingWord).append(u"\n");
  const String categoryOne = WFWebPageToTrainingText::signatureForCategory(1);
  return text.append(categoryOne ? categoryOne.view() : u"(null)").append(u"\n");
}

bool hasLittleContent(const WFWebPageToFilterText& page, std::size_t contentLength) {
  return contentLength < kLittleContent && page.images().empty() &&
         page.scriptBlocks().size() < kFewScripts && page.metaTagKeywords().length() < kLittleMeta &&
         page.metaTagDescription().length() < kLittleMeta;
}

// Whether a page that mostly shows or loads another one has enough of its own; tells so in the message.
bool hasLotOfContent(std::u16string_view what, std::size_t contentLength, String& message) {
  const bool lot = contentLength > kLotOfContent;
  std::u16string text(what);
  if (lot) text.append(u", but there is a lot of content!");
  message = String(text.append(u" (length:").append(decimalString(contentLength)).append(u")"));
  return lot;
}

}  // namespace

std::span<const WFWebPageToFilterText::Section> WFWebPageToFilterText::layout() {
  static constexpr std::array<Section, 7> kSections = {{
      {"pageTitle", u"ooooooooooooooooooooTITLEoooooooooooooooooooo", 15},
      {"tags", u"oooooooooooooooooooooTAGSoooooooooooooooooooo", 5},
      {"metaTagDescription", u"oooooooooooooooooDESCRIPTIONooooooooooooooooo", 10},
      {"metaTagKeywords", u"oooooooooooooooooooKEYWORDSoooooooooooooooooo", 10},
      {"imageAltsText", u"oooooooooooooooooooIMAGEALTSooooooooooooooooo", 1},
      {"linkTitlesText", u"oooooooooooooooooooLINKTITLESoooooooooooooooo", 1},
      {"pageContent", u"oooooooooooooooooooPAGECONTENTooooooooooooooo", 1},
  }};
  return kSections;
}

std::u16string WFWebPageToFilterText::rawPlainText() const {
  return layOut(heading(), layout());
}

String WFWebPageToFilterText::plainText() const {
  return postprocessedLayOut(heading(), layout());
}

bool WFWebPageToFilterText::isWorthAnalyzingWithEvidence(std::int32_t& evidence, String& message) const {
  constexpr auto kOp = "-[WFWebPageToFilterText isWorthAnalyzingWithEvidence:message:]";
  message = nullptr;
  const String content = pageContent();
  if (hasLittleContent(*this, content.length())) {
    // Kept: written also when the trimmed content then turns out to be enough.
    logInfo("%s -- Page not worth analyzing [pageContent length]:%lu, no images, [scriptBlocks count]:%lu",
            kOp, content.length(), scriptBlocks().size());
    if (platform::trimmedWhitespaceAndNewlines(content.view()).size() < kEnoughTrimmed) {
      evidence = kTooLittleContent;
      message = String(u"too little content found");
      return false;
    }
  }
  if (hasFrameset()) {
    if (hasLotOfContent(u"it has a frameset", content.length(), message)) return true;
    evidence = kFrameset;
    return false;
  }
  if (hasShortRefresh()) {
    if (hasLotOfContent(u"it has a short refresh", content.length(), message)) return true;
    evidence = kShortRefresh;
    return false;
  }
  return true;
}

bool WFWebPageToFilterText::selfRestricted() const {
  const String rating = metaTagsLabeled().contentForLabel(u"rating");
  if (isRTALabel(rating.view())) return true;
  for (const String& content : metaTagsUnlabeled()) {
    // Only the first label of the page counts.
    if (hasSafeSurfLabel(content.view())) return safeSurfRestricts(safeSurfLevels(content.view()));
  }
  return false;
}

String WFWebPageToFilterText::URLFuzzyWithWordLength(std::int32_t wordLength) const {
  constexpr std::uint32_t kSkipped = 7;  // the length of "http://", whatever the scheme
  constexpr std::size_t kUsed = 20;
  const String url = URLString();
  // The sum wraps at 32 bits, and a negative one counts as a huge length.
  const auto least = static_cast<std::int32_t>(static_cast<std::uint32_t>(wordLength) + kSkipped);
  if (url.length() < static_cast<std::uint64_t>(static_cast<std::int64_t>(least))) return String(u"");
  return String(fuzzyStringWithWordLength(url.view().substr(kSkipped, kUsed), wordLength));
}

String WFWebPageToFilterText::URLFuzzyForFilter() const {
  std::u16string text;
  for (const std::int32_t wordLength : {3, 4, 5, 6}) {
    text.append(URLFuzzyWithWordLength(wordLength).view()).push_back(u'\n');
  }
  return String(std::move(text));
}

}  // namespace sifterra
