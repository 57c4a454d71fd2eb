// WFJudge: turns a page's text and address into a verdict.
//
//   std::shared_ptr<WFJudge> judge = WFJudge::defaultJudge();
//   if (judge) verdict = judge->pronounceOnPageContent(html, url, nullptr, &title);
//
// A judge has no state beyond its map: any number of threads may ask one at once.
#pragma once

#include <memory>

#include "sifterra/classifier/WFLSMMap.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/verdict/WFVerdict.h"

namespace sifterra {

class WFWebPageToFilterText;
class WFWhitelistUserPreferences;

class WF_API WFJudge {
 public:
  // initWithMap: a judge without a map (null) classifies nothing and restricts only what labels itself.
  explicit WFJudge(std::shared_ptr<WFLSMMap> map);

  // The map file among the library's resources; null when there is none.
  [[nodiscard]] static platform::String defaultLSMMapPath();
  // The judge of the process, on the library's own map; made at the first call that succeeds and never
  // destroyed. Null when the map is missing or does not load, and then the next call tries again.
  [[nodiscard]] static std::shared_ptr<WFJudge> defaultJudge();

  // Never null. debugPage is accepted for the sake of older callers and ignored. *pageTitle, when given,
  // receives the page's title (null when the page has none) unless the content is null.
  [[nodiscard]] std::shared_ptr<WFVerdict> pronounceOnPageContent(const platform::String& content,
                                                                  const platform::String& pageURL,
                                                                  const void* debugPage,
                                                                  platform::String* pageTitle) const;
  // The same for a user: the lists decide first, then the always-allow-HTTPS switch lets https pass, and what
  // is left is judged by its content. Without preferences (null) only the content decides. Never null;
  // *pageTitle, when given, is stored in any case.
  [[nodiscard]] std::shared_ptr<WFVerdict> pronounceOnPageContent(
      const platform::String& content, const platform::String& pageURL,
      const std::shared_ptr<const WFWhitelistUserPreferences>& whitelistUserPreferences,
      const void* debugPage, platform::String* pageTitle) const;

 protected:
  // The same for a page that is made already; null for one that could not be made.
  [[nodiscard]] std::shared_ptr<WFVerdict> pronounceOnPage(const WFWebPageToFilterText* page,
                                                           const platform::String& pageURL,
                                                           platform::String* pageTitle) const;

 private:
  [[nodiscard]] std::shared_ptr<WFVerdict> _pronounceOnWebpage(const WFWebPageToFilterText& webpage) const;

  std::shared_ptr<WFLSMMap> map;
};

}  // namespace sifterra
