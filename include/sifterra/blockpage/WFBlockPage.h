// WFBlockPage: the page that is shown in place of a refused one.
//
//   WFBlockPage blockPage(user, /*isWhitelistBlock=*/false, isNetworkAccount);
//   blockPage.setUserVisibleURLString(url);
//   blockPage.setFormPostToURLString(overrideService);
//   blockPage.setFormRestrictedPageURLString(base64OfURL);
//   const platform::String html = blockPage.page();  // null when there is no template
//
// Picks a template in the user's preferred language among the library's resources and fills its markers;
// docs/block-page.md tells them. Used by one thread at a time.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/PropertyList.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

class WF_API WFBlockPage {
 public:
  // initWithUsername: a page whose form asks for an override.
  WFBlockPage(const platform::String& username, bool isWhitelistBlock, bool isNetworkAccount);
  // A page without that form; never a whitelist block.
  [[nodiscard]] static WFBlockPage initNoOveridePageWithUsername(const platform::String& username);
  // The error page, in English.
  [[nodiscard]] static WFBlockPage initWithErrorPage();

  // The finished HTML text; null, after one log line, when the template cannot be read or the page would
  // exceed kMaximumPageLength.
  [[nodiscard]] platform::String page() const;

  // UTF-16 units. A refused address may name a marker again and again, each to be replaced by the whole
  // allow list; a page must not cost more memory than this because of it.
  static constexpr std::size_t kMaximumPageLength = std::size_t{32} << 20;

  // The chosen template file; null when there is none in the chosen language.
  [[nodiscard]] const platform::URL& pageTemplateURL() const noexcept { return pageTemplateURL_; }
  // Whether the list of allowed sites is filled in.
  [[nodiscard]] bool isWhitelistBlock() const noexcept { return isWhitelistBlock_; }
  // The localization that template, style and script come from: "English", "de", "zh-Hans".
  [[nodiscard]] const platform::String& preferredLanguage() const noexcept { return preferredLanguage_; }
  void setPreferredLanguage(platform::String language) { preferredLanguage_ = std::move(language); }

  // Takes the page from the localization that suits these languages best ("de-AT", "pt"), most wanted first,
  // in place of the user's own. False, and nothing changes, when none suits.
  [[nodiscard]] bool preferLanguages(const std::vector<platform::String>& languages);
  // Whether the user's own preferences name languages, rather than those of the whole machine: for services,
  // which know better languages for strangers than their own machine's.
  [[nodiscard]] static bool userHasLanguages(const platform::String& username);

  // The refused address as the user sees it; escaped when it is inserted. Null leaves the marker alone.
  [[nodiscard]] const platform::String& userVisibleURLString() const noexcept {
    return userVisibleURLString_;
  }
  void setUserVisibleURLString(platform::String url) { userVisibleURLString_ = std::move(url); }

  // The three are inserted as they stand; the caller encodes them.
  // Where the override form is sent. Null leaves the marker alone.
  [[nodiscard]] const platform::String& formPostToURLString() const noexcept { return formPostToURLString_; }
  void setFormPostToURLString(platform::String url) { formPostToURLString_ = std::move(url); }
  // What the form carries: the refused page's address and title. Null inserts nothing.
  [[nodiscard]] const platform::String& formRestrictedPageURLString() const noexcept {
    return formRestrictedPageURLString_;
  }
  void setFormRestrictedPageURLString(platform::String url) { formRestrictedPageURLString_ = std::move(url); }
  [[nodiscard]] const platform::String& formRestrictedPageTitle() const noexcept {
    return formRestrictedPageTitle_;
  }
  void setFormRestrictedPageTitle(platform::String title) { formRestrictedPageTitle_ = std::move(title); }

  // The sites that the user may visit: an array of dictionaries with "address" and "pageTitle", as the
  // preferences hold them. Null, or what is no array, is not an empty list: it shows a message instead.
  [[nodiscard]] const platform::PropertyList& allowedWebSites() const noexcept { return allowedWebSites_; }
  void setAllowedWebSites(platform::PropertyList sites) { allowedWebSites_ = std::move(sites); }

 private:
  // _initWithUsername:isWhitelistBlock:isNetworkAccount:isError:
  WFBlockPage(const platform::String& username, bool isWhitelistBlock, bool isNetworkAccount, bool isError);
  // _initWithUsername:fileName:
  WFBlockPage(const platform::String& username, const platform::String& fileName);

  [[nodiscard]] platform::String _blockpage() const;
  [[nodiscard]] platform::String _fileContentWithName(const platform::String& name,
                                                      const platform::String& extension) const;
  [[nodiscard]] platform::String _css() const;
  [[nodiscard]] platform::String _javascript() const;

  platform::String templateName_;
  platform::URL pageTemplateURL_;
  bool isWhitelistBlock_ = false;
  platform::String userVisibleURLString_;
  platform::String formPostToURLString_;
  platform::String formRestrictedPageURLString_;
  platform::String formRestrictedPageTitle_;
  platform::PropertyList allowedWebSites_;
  platform::String preferredLanguage_;
};

}  // namespace sifterra
