// user_judgement: WFJudge's answer for one user. The steps stand in their documented order: an http address
// asks the lists first, an https one the always-allow-HTTPS switch.
#include <memory>

#include "judge/log_page_verdict.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;
using Preferences = std::shared_ptr<const WFWhitelistUserPreferences>;

// Whether the lists' verdict stands for an https page.
bool listsSettle(const Preferences& preferences, const WFVerdict& listVerdict, bool shouldFilter) {
  return preferences->whitelistEnabled() ||
         (preferences->filterEnabled() && listVerdict.evidence() == kWFEvidenceListed) || !shouldFilter;
}

String describe(const std::shared_ptr<WFVerdict>& verdict) {
  return verdict ? verdict->description() : String();
}

}  // namespace

std::shared_ptr<WFVerdict> WFJudge::pronounceOnPageContent(const String& content, const String& pageURL,
                                                           const Preferences& whitelistUserPreferences,
                                                           const void* debugPage, String* pageTitle) const {
  constexpr auto kOp =
      "-[WFJudge pronounceOnPageContent:pageURL:whitelistUserPreferences:debugPage:pageTitle:]";
  const Preferences& preferences = whitelistUserPreferences;
  bool shouldFilter = true;
  std::shared_ptr<WFVerdict> listVerdict;
  if (preferences) listVerdict = preferences->pronounceOnPageURLString(pageURL, &shouldFilter);
  logDebug("%s -- whitelistVerdict: %{public}@", kOp, [&] { return describe(listVerdict); });

  const auto page = content ? WFWebPageToFilterText::webPageWithString(content, pageURL) : nullptr;
  if (pageTitle) *pageTitle = page ? page->pageTitle() : String();

  // Kept: the case counts. A scheme in capitals takes the way of http, and the switch does not apply to it.
  if (!pageURL.view().starts_with(u"https://")) {
    if (listVerdict && !shouldFilter) {
      logDebug("%s -- URL found in white/black list, no need to use the LSM analyzer...", kOp);
      return listVerdict;
    }
    if (page) {
      std::shared_ptr<WFVerdict> verdict = _pronounceOnWebpage(*page);
      logPageVerdict(kOp, *verdict, *page);
      return verdict;
    }
    logDebug("%s -- No page content - so LSM analyzer cannot be used - allowing", kOp);
    return WFVerdict::verdictWithRestriction(false, pageURL, kWFEvidenceNothingToClassify, nullptr,
                                             String(u"Allowed, NULL pageContentString"));
  }

  logDebug("%s -- exiting via is https case. whitelistVerdict: %{public}@", kOp,
           [&] { return describe(listVerdict); });
  // Kept: the switch goes before the lists; even a listed site passes.
  if (preferences && preferences->alwaysAllowHTTPS()) {
    return WFVerdict::verdictWithRestriction(false, pageURL, kWFEvidenceAlwaysAllowHTTPS, nullptr,
                                             String(u"Always allow HTTPS"));
  }
  if (listVerdict && listsSettle(preferences, *listVerdict, shouldFilter)) return listVerdict;
  // Null content leaves the title as it is, the null from above.
  if (!content) return pronounceOnPageContent(content, pageURL, debugPage, pageTitle);
  // The content query of an https page would parse it a second time to the same model: this page serves.
  return pronounceOnPage(page.get(), pageURL, pageTitle);
}

}  // namespace sifterra
