// WFJudge: the documented order of the questions to a page, and a verdict for each way out.
#include "sifterra/judge/WFJudge.h"

#include <string>
#include <utility>

#include "judge/log_page_verdict.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;

String joined(std::u16string_view start, const String& end) {
  std::u16string text(start);
  text += end ? end.view() : u"(null)";
  return String(std::move(text));
}

String classifiedMessage(bool restricted, const String& note) {
  // Kept: " Allowed  " with its blanks is as wide as "RESTRICTED", so that the messages stand in columns.
  const std::u16string_view word = restricted ? u"RESTRICTED" : u" Allowed  ";
  return note ? joined(std::u16string(word) + u" ", note) : String(word);
}

}  // namespace

void logPageVerdict(const char* op, const WFVerdict& verdict, const WFWebPageToFilterText& page) {
  const auto title = [&] { return page.pageTitle(); };
  const auto url = [&] { return page.URLString(); };
  const auto message = [&] { return verdict.message(); };
  if (const auto& result = verdict.LSMEvaluationResult()) {
    logDebug("%s -- page %{public}@ (%{public}@), verdict is %{public}@, LSM result is %{public}@", op, title,
             url, message, [&] { return result->debugDescription(); });
  } else {
    logDebug("%s -- page %{public}@ (%{public}@), verdict is %{public}@", op, title, url, message);
  }
}

WFJudge::WFJudge(std::shared_ptr<WFLSMMap> itsMap) : map(std::move(itsMap)) {}

std::shared_ptr<WFVerdict> WFJudge::_pronounceOnWebpage(const WFWebPageToFilterText& webpage) const {
  auto verdict = std::make_shared<WFVerdict>();
  verdict->setURL(webpage.URLString());
  if (webpage.selfRestricted()) {
    verdict->setRestricted(true);
    verdict->setEvidence(kWFEvidenceSelfRestricted);
    verdict->setMessage(String(u"SELF-RESTRICTED"));
    return verdict;
  }

  std::int32_t evidence = kWFEvidenceClassified;
  String note;
  if (!webpage.isWorthAnalyzingWithEvidence(evidence, note)) {
    verdict->setRestricted(false);
    verdict->setEvidence(evidence);
    verdict->setMessage(joined(u"Page not analyzed: ", note));
    return verdict;
  }

  std::shared_ptr<WFLSMResult> result = map ? map->evaluate(webpage.plainText()) : nullptr;
  const bool restricted = result && result->isRestricted();
  verdict->setMessage(classifiedMessage(restricted, note));
  verdict->setRestricted(restricted);
  verdict->setLSMEvaluationResult(std::move(result));
  verdict->setEvidence(kWFEvidenceClassified);
  return verdict;
}

std::shared_ptr<WFVerdict> WFJudge::pronounceOnPageContent(const String& content, const String& pageURL,
                                                           const void* /*debugPage*/,
                                                           String* pageTitle) const {
  if (!content) {
    return WFVerdict::verdictWithRestriction(false, pageURL, kWFEvidenceNothingToClassify, nullptr,
                                             String(u"Allowed, nil pageContentString"));
  }
  return pronounceOnPage(WFWebPageToFilterText::webPageWithString(content, pageURL).get(), pageURL,
                         pageTitle);
}

std::shared_ptr<WFVerdict> WFJudge::pronounceOnPage(const WFWebPageToFilterText* page, const String& pageURL,
                                                    String* pageTitle) const {
  if (pageTitle) *pageTitle = page ? page->pageTitle() : String();
  if (!page) {
    return WFVerdict::verdictWithRestriction(false, pageURL, kWFEvidenceNothingToClassify, nullptr,
                                             String(u"Allowed, nil webpage"));
  }
  std::shared_ptr<WFVerdict> verdict = _pronounceOnWebpage(*page);
  logPageVerdict("-[WFJudge pronounceOnPageContent:pageURL:debugPage:pageTitle:]", *verdict, *page);
  return verdict;
}

}  // namespace sifterra
