#include "Refusal.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "ascii_text.h"
#include "sifterra/blockpage/WFBlockPage.h"
#include "sifterra/policy/SFTUserSettings.h"
#include "sifterra/sifterra.h"

namespace sifterra::icap {
namespace {

using platform::String;

constexpr std::size_t kMostLanguages = 32;
constexpr char kPlainPage[] =
    "<html> <head><title>Error composing block page</title></head> <body>Error composing block page</body> "
    "</html>";

struct NamedDestination {
  std::string_view name;
  Destination destination;
};
// Values of Sec-Fetch-Dest; those that are missing carry data to a script.
constexpr NamedDestination kFetchDestinations[] = {
    {"document", Destination::Page},       {"iframe", Destination::Frame},
    {"frame", Destination::Frame},         {"embed", Destination::Frame},
    {"object", Destination::Frame},        {"image", Destination::Image},
    {"script", Destination::Script},       {"worker", Destination::Script},
    {"sharedworker", Destination::Script}, {"serviceworker", Destination::Script},
    {"style", Destination::Style},         {"font", Destination::Font},
    {"video", Destination::Video},         {"audio", Destination::Audio},
    {"track", Destination::Data},
};

struct NamedType {
  std::string_view ending;
  Destination destination;
  const char* type;
};
constexpr NamedType kEndings[] = {
    {"png", Destination::Image, "image/png"},        {"jpg", Destination::Image, "image/jpeg"},
    {"jpeg", Destination::Image, "image/jpeg"},      {"gif", Destination::Image, "image/gif"},
    {"webp", Destination::Image, "image/webp"},      {"avif", Destination::Image, "image/avif"},
    {"svg", Destination::Image, "image/svg+xml"},    {"ico", Destination::Image, "image/x-icon"},
    {"bmp", Destination::Image, "image/bmp"},        {"js", Destination::Script, "text/javascript"},
    {"mjs", Destination::Script, "text/javascript"}, {"css", Destination::Style, "text/css"},
    {"woff", Destination::Font, "font/woff"},        {"woff2", Destination::Font, "font/woff2"},
    {"ttf", Destination::Font, "font/ttf"},          {"otf", Destination::Font, "font/otf"},
    {"mp4", Destination::Video, "video/mp4"},        {"webm", Destination::Video, "video/webm"},
    {"mp3", Destination::Audio, "audio/mpeg"},       {"ogg", Destination::Audio, "audio/ogg"},
    {"m4a", Destination::Audio, "audio/mp4"},
};

// The type by the ending of the address's path; null for others.
const NamedType* typeByEnding(std::string_view url) {
  const std::size_t authority = url.find("://");
  std::string_view path = url.substr(authority == std::string_view::npos ? 0 : authority + 3);
  path = path.substr(0, path.find_first_of("?#"));
  const std::size_t slash = path.find('/');
  const std::size_t dot = path.rfind('.');
  if (slash == std::string_view::npos || dot == std::string_view::npos || dot < slash) return nullptr;
  const auto found = std::find_if(std::begin(kEndings), std::end(kEndings), [&](const NamedType& one) {
    return equalsIgnoringCase(one.ending, path.substr(dot + 1));
  });
  return found == std::end(kEndings) ? nullptr : found;
}

const char* typeOf(Destination destination, std::string_view url) {
  const NamedType* byEnding = typeByEnding(url);
  if (byEnding && byEnding->destination == destination) return byEnding->type;
  switch (destination) {
    case Destination::Image:
      return "image/gif";
    case Destination::Script:
      return "text/javascript";
    case Destination::Style:
      return "text/css";
    case Destination::Font:
      return "font/woff2";
    case Destination::Video:
      return "video/mp4";
    case Destination::Audio:
      return "audio/mpeg";
    case Destination::Data:
      return "text/plain; charset=utf-8";
    case Destination::Page:
    case Destination::Frame:
      break;
  }
  return "text/html; charset=utf-8";
}

Destination fetchDestinationOf(const HttpMessage& message) {
  const auto found = std::find_if(
      std::begin(kFetchDestinations), std::end(kFetchDestinations),
      [&](const NamedDestination& one) { return equalsIgnoringCase(one.name, message.fetchDestination); });
  return found == std::end(kFetchDestinations) ? Destination::Data : found->destination;
}

std::string firstAccepted(const HttpMessage& message) {
  std::string_view accept = message.accept;
  return lowerCase(takePart(&accept, ','));
}

bool beginsWithPage(std::string_view accepted) {
  return accepted.starts_with("text/html") || accepted.starts_with("application/xhtml+xml");
}

String base64Of(const String& text) {
  if (!text) return nullptr;
  const std::string utf8 = text.toUTF8();
  WFStringRef string = WFStringCreateWithUTF8Bytes(utf8.data(), utf8.size());
  WFReleaseScopeBegin();
  WFStringRef encoded = NS64BaseStringFromString(string);
  String result = encoded ? String::fromUTF8(WFStringGetUTF8(encoded)) : String();
  WFReleaseScopeEnd();
  WFRelease(string);
  return result;
}

// With the form only where an address for it is configured, the user may ask, and the policy says so now: the
// file is read anew here, and of a broken one nothing is known.
WFBlockPage blockPageFor(const RefusalQuestion& question, const Settings& settings) {
  const String user = question.user.empty() ? String(u"") : String::fromUTF8(question.user);
  if (!settings.overrideAddress.empty() && question.policy.state == Policy::State::InForce) {
    SFTUserSettings wishes(user);
    if (wishes.overridesAllowed()) {
      const bool onlyListed = question.policy.preferences->whitelistEnabled();
      WFBlockPage page(user, onlyListed, /*isNetworkAccount=*/false);
      if (onlyListed) page.setAllowedWebSites(wishes.whiteListAllowedSites());
      page.setFormPostToURLString(String::fromUTF8(settings.overrideAddress));
      page.setFormRestrictedPageURLString(base64Of(String::fromUTF8(question.url)));
      page.setFormRestrictedPageTitle(base64Of(question.title));
      return page;
    }
  }
  return WFBlockPage::initNoOveridePageWithUsername(user);
}

std::string blockPageText(const RefusalQuestion& question, const Settings& settings) {
  WFBlockPage page = blockPageFor(question, settings);
  if (question.user.empty() || !WFBlockPage::userHasLanguages(String::fromUTF8(question.user))) {
    std::vector<String> languages;
    for (const std::string& language : languagesOf(question.message->acceptLanguage))
      languages.push_back(String::fromUTF8Lossy(language));
    // Without any that suits the page keeps the language it has.
    if (!languages.empty()) static_cast<void>(page.preferLanguages(languages));
  }
  page.setUserVisibleURLString(String::fromUTF8(question.url));
  const String text = page.page();
  return text ? text.toUTF8() : std::string(kPlainPage);
}

}  // namespace

bool isToBeShown(const HttpMessage& message) {
  if (!message.fetchDestination.empty()) {
    const Destination destination = fetchDestinationOf(message);
    return destination == Destination::Page || destination == Destination::Frame;
  }
  return beginsWithPage(firstAccepted(message));
}

Destination destinationOf(const HttpMessage& message, std::string_view url) {
  if (!message.fetchDestination.empty()) return fetchDestinationOf(message);
  // Browsers send Sec-Fetch-Dest to secure sites alone; elsewhere the types they accept tell, or the address.
  const std::string first = firstAccepted(message);
  if (beginsWithPage(first)) return Destination::Page;
  if (first.starts_with("image/")) return Destination::Image;
  if (first.starts_with("text/css")) return Destination::Style;
  if (first.starts_with("video/")) return Destination::Video;
  if (first.starts_with("audio/")) return Destination::Audio;
  const NamedType* byEnding = typeByEnding(url);
  return byEnding ? byEnding->destination : Destination::Page;
}

std::vector<std::string> languagesOf(std::string_view acceptLanguage) {
  std::vector<std::pair<double, std::string>> wanted;
  while (!acceptLanguage.empty() && wanted.size() < kMostLanguages) {
    std::string_view entry = takePart(&acceptLanguage, ',');
    const std::string_view language = takePart(&entry, ';');
    const auto fits = [](char c) { return isAlphanumeric(c) || c == '-'; };
    if (language.empty() || language.size() > 35 || !std::all_of(language.begin(), language.end(), fits))
      continue;
    double weight = 1;
    if (entry.size() > 2 && (entry[0] == 'q' || entry[0] == 'Q') && entry[1] == '=') {
      const std::string_view number = entry.substr(2);
      if (std::from_chars(number.data(), number.data() + number.size(), weight).ec != std::errc()) continue;
    }
    if (weight > 0) wanted.emplace_back(weight, language);
  }
  std::stable_sort(wanted.begin(), wanted.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<std::string> languages;
  languages.reserve(wanted.size());
  for (auto& [weight, language] : wanted) languages.push_back(std::move(language));
  return languages;
}

Refusal refusalFor(const RefusalQuestion& question, const Settings& settings) {
  const Destination destination = destinationOf(*question.message, question.url);
  Refusal refusal;
  if (destination == Destination::Page) refusal.body = blockPageText(question, settings);
  refusal.headers = {"HTTP/1.1 403 Forbidden",
                     std::string("Content-Type: ") + typeOf(destination, question.url),
                     "Content-Length: " + std::to_string(refusal.body.size()), "Cache-Control: no-store",
                     "X-Content-Type-Options: nosniff"};
  if (question.message->method() == "HEAD") refusal.body.clear();
  return refusal;
}

}  // namespace sifterra::icap
