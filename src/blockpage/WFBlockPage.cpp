// WFBlockPage: which template, in which language, and what goes into it in which order.
#include "sifterra/blockpage/WFBlockPage.h"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "blockpage/block_page_text.h"
#include "blockpage/preferred_language.h"
#include "platform/Bundle.h"
#include "platform/FileSystem.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::Bundle;
using platform::String;
using platform::URL;

constexpr std::size_t kMaximumResourceBytes = std::size_t{4} << 20;  // ours have some 10 KB

String templateName(bool isWhitelistBlock, bool isNetworkAccount, bool isError) {
  if (isError) return String(u"error");
  std::u16string name = u"blockpage";
  if (isNetworkAccount) name += u"-net";
  if (isWhitelistBlock) name += u"-wl";
  return String(std::move(name));
}

URL resourceURL(const String& name, const String& extension, const String& language) {
  const std::optional<Bundle> bundle = Bundle::library();
  if (!bundle) return nullptr;
  const std::optional<std::string> path =
      bundle->pathForResource(name.toUTF8(), extension.toUTF8(), language.toUTF8());
  return path ? URL::fileURL(String::fromUTF8(*path)) : URL();
}

// The file's text; null with the reason when it cannot be had.
String textOfFile(const URL& url, String* reason) {
  const std::optional<std::string> bytes = platform::readFile(url.filePath().toUTF8(), kMaximumResourceBytes);
  if (!bytes) {
    *reason = String(u"The file could not be read");
    return nullptr;
  }
  String text = String::fromUTF8(*bytes);
  if (!text) *reason = String(u"The file is not UTF-8 text");
  return text;
}

}  // namespace

WFBlockPage::WFBlockPage(const String& username, bool isWhitelistBlock, bool isNetworkAccount)
    : WFBlockPage(username, isWhitelistBlock, isNetworkAccount, false) {}

WFBlockPage WFBlockPage::initNoOveridePageWithUsername(const String& username) {
  return {username, String(u"blockpage-nooverride")};
}

WFBlockPage WFBlockPage::initWithErrorPage() {
  return {nullptr, false, false, true};
}

WFBlockPage::WFBlockPage(const String& username, bool isWhitelistBlock, bool isNetworkAccount, bool isError)
    : WFBlockPage(username, templateName(isWhitelistBlock, isNetworkAccount, isError)) {
  isWhitelistBlock_ = isWhitelistBlock;
}

WFBlockPage::WFBlockPage(const String& username, const String& fileName)
    : templateName_(fileName), preferredLanguage_(preferredLanguageForUserName(username)) {
  constexpr auto kOp = "-[WFBlockPage _initWithUsername:fileName:]";
  pageTemplateURL_ = resourceURL(fileName, String(u"html"), preferredLanguage_);
  if (!pageTemplateURL_) {
    logError("%s -- pageTemplateURL is nil for user %@, file %{public}@, language %{public}@", kOp, username,
             fileName, preferredLanguage_);
  }
}

bool WFBlockPage::preferLanguages(const std::vector<String>& languages) {
  const String language = localizationForLanguages(languages);
  if (!language) return false;
  preferredLanguage_ = language;
  pageTemplateURL_ = resourceURL(templateName_, String(u"html"), language);
  return true;
}

bool WFBlockPage::userHasLanguages(const String& username) {
  return userNamesLanguages(username);
}

String WFBlockPage::_blockpage() const {
  constexpr auto kOp = "-[WFBlockPage _blockpage]";
  if (!pageTemplateURL_) return nullptr;  // told when the page was made
  String reason;
  String text = textOfFile(pageTemplateURL_, &reason);
  if (!text) logError("%s -- error loading block page: %{public}@", kOp, reason);
  return text;
}

String WFBlockPage::_fileContentWithName(const String& name, const String& extension) const {
  constexpr auto kOp = "-[WFBlockPage _fileContentWithName:extension:]";
  const URL url = resourceURL(name, extension, preferredLanguage_);
  if (!url) {
    logError("%s -- error creating file URL for: %{public}@", kOp, name);
    return nullptr;
  }
  String reason;
  String text = textOfFile(url, &reason);
  if (!text) logError("%s -- error loading file: %{public}@ error: %{public}@", kOp, name, reason);
  return text;
}

String WFBlockPage::_css() const {
  return _fileContentWithName(String(u"blockpage_style"), String(u"css"));
}

String WFBlockPage::_javascript() const {
  return _fileContentWithName(String(u"blockpage_script"), String(u"js"));
}

String WFBlockPage::page() const {
  constexpr auto kOp = "-[WFBlockPage page]";
  const String html = _blockpage();
  if (!html) {
    logError("%s -- block page is nil", kOp);
    return nullptr;
  }

  const auto orEmpty = [](const String& text) { return text ? text : String(u""); };
  const String script = _javascript();
  const String style = _css();
  // Kept: one after the other in this order, so that a marker inside an inserted text is replaced by a later
  // step. What comes late must therefore be harmless in the place of an address: style and script hold
  // nothing that HTML gives a meaning, and the address stands in element content only.
  const std::array<MarkerValue, 7> values{{
      {u"USER_VISIBLE_RESTRICTED_URL_NO_LOC",
       userVisibleURLString_ ? visibleURLText(userVisibleURLString_) : String()},
      {u"SEND_FORM_TO_URL_NO_LOC", formPostToURLString_},
      {u"PAGE_TO_OVERRIDE_URL_NO_LOC", orEmpty(formRestrictedPageURLString_)},
      {u"PAGE_TO_OVERRIDE_TITLE_NO_LOC", orEmpty(formRestrictedPageTitle_)},
      {u"ALLOWED_LIST_OF_WEBSITES_NO_LOC",
       isWhitelistBlock_ ? allowedWebSitesHTML(allowedWebSites_) : String()},
      {u"INCLUDE_JAVASCRIPT_FILE_NO_LOC", script},
      {u"INCLUDE_CSS_FILE_NO_LOC", style},
  }};
  std::optional<std::u16string> text =
      replaceMarkers(std::u16string(html.view()), values, kMaximumPageLength);
  if (!text) {
    logError("%s -- block page is too long", kOp);
    return nullptr;
  }
  return String(*std::move(text));
}

}  // namespace sifterra
