// block_page_text: escaping, the list of allowed sites, and the replacement of markers.
#include "blockpage/block_page_text.h"

#include <array>
#include <cstddef>
#include <utility>

#include "util/log.h"
#include "util/string_helpers.h"

namespace sifterra {
namespace {

using platform::PropertyList;
using platform::String;

// Where an entry without an address leads: ".invalid" is reserved and never resolves.
constexpr std::u16string_view kMissingAddress = u"http://missing-address.invalid/";
constexpr std::u16string_view kNoList = u"There was an error loading allowed websites";
constexpr std::u16string_view kNoURL = u"Impossible to determine URL";
constexpr std::size_t kLabelUnits = 40;  // a label of this length is shown whole, a longer one is cut to it

constexpr auto kOpAllowedWebSites = "-[WFBlockPage _allowedWebSitesHTML]";

// The entry as a log line shows it.
String described(const PropertyList& site) {
  if (!site.isDictionary()) return String(u"(no dictionary)");
  std::u16string text = u"{";
  for (const PropertyList::Entry& entry : site.dictionary()) {
    const String value = entry.value.string();
    text.append(entry.key.view()).append(u" = ").append(value ? value.view() : u"(no text)").append(u"; ");
  }
  if (text.size() > 1) text.pop_back();
  return String(text + u"}");
}

String addressOf(const PropertyList& site) {
  if (String address = site[u"address"].string()) return address;
  logError("%s -- error getting address for websiteInfo: %{public}@", kOpAllowedWebSites,
           [&] { return described(site); });
  return String(kMissingAddress);
}

// Kept: an address that stands in for a missing title is not escaped. Addresses come from the managed
// preferences, titles from the pages themselves.
String labelOf(const PropertyList& site, const String& address) {
  if (const String title = site[u"pageTitle"].string()) return xssSafeStringFromString(title);
  logError("%s -- error getting title for websiteInfo: %{public}@", kOpAllowedWebSites,
           [&] { return described(site); });
  return address;
}

std::size_t occurrences(std::u16string_view text, std::u16string_view marker) {
  std::size_t count = 0;
  for (std::size_t at = text.find(marker); at != std::u16string_view::npos;
       at = text.find(marker, at + marker.size())) {
    ++count;
  }
  return count;
}

}  // namespace

String xssSafeStringFromString(const String& string) {
  // The ampersand first: the entities that come after it hold ampersands of their own.
  constexpr std::array<std::pair<std::u16string_view, std::u16string_view>, 5> kEscapes{{
      {u"&", u"&amp;"},
      {u"<", u"&lt;"},
      {u">", u"&gt;"},
      {u"\"", u"&quot;"},
      {u"'", u"&apos;"},
  }};
  if (!string) return nullptr;
  std::u16string text(string.view());
  for (const auto& [character, entity] : kEscapes) text = stringByReplacingString(text, character, entity);
  return String(std::move(text));
}

String visibleURLText(const String& url) {
  // Kept: an apostrophe is shown as a grave accent, and so never reaches the escaping.
  const String safe = xssSafeStringFromString(stringByReplacingString(url, String(u"'"), String(u"`")));
  return safe ? safe : String(kNoURL);
}

String allowedWebSitesHTML(const PropertyList& sites) {
  if (!sites.isArray()) return String(kNoList);
  std::u16string html;
  for (const PropertyList& site : sites.array()) {
    const String address = addressOf(site);
    const String label = labelOf(site, address);
    // Kept: the units are counted after the escaping, so that a cut may go through an entity.
    const bool cut = label.length() > kLabelUnits;
    html.append(u"<a href=\"").append(address.view()).append(u"\">");
    html.append(label.view().substr(0, kLabelUnits)).append(cut ? u"..." : u"").append(u"</a><br>");
  }
  return String(std::move(html));
}

std::optional<std::u16string> replaceMarkers(std::u16string text, std::span<const MarkerValue> values,
                                             std::size_t limit) {
  for (const auto& [marker, value] : values) {
    if (!value) continue;
    const std::size_t count = occurrences(text, marker);
    if (count == 0) continue;
    // Measured before it is made: each of the markers in a long address may stand for a long list.
    const std::size_t rest = text.size() - count * marker.size();
    if (rest > limit || value.length() > (limit - rest) / count) return std::nullopt;
    text = stringByReplacingString(text, marker, value.view());
  }
  return text;
}

}  // namespace sifterra
