// A refused address and the titles of allowed sites never become markup of the block page.
//
// The input is four lines: the address, a title, another title and the number of a template. The page must
// hold as many characters that HTML gives a meaning as the same page with harmless texts, and each text in
// its escaped form.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/PreferenceStore.h"
#include "reference/fuzz_units.h"
#include "sifterra/blockpage/WFBlockPage.h"

namespace {

using namespace sifterra;
using platform::PropertyList;
using platform::String;

constexpr std::u16string_view kList = u"ALLOWED_LIST_OF_WEBSITES_NO_LOC";
constexpr std::u16string_view kFormURL = u"PAGE_TO_OVERRIDE_URL_NO_LOC";
constexpr std::u16string_view kFormTitle = u"PAGE_TO_OVERRIDE_TITLE_NO_LOC";

// English, so that no log line is written.
class English final : public platform::PreferenceStore {
 public:
  English() { setCurrentForTesting(this); }
  [[nodiscard]] std::vector<String> stringsForKey(std::u16string_view, const String&) const override {
    return {String(u"en")};
  }
};

struct Texts {
  std::u16string url, first, second;
  unsigned kind = 0;
};

PropertyList site(const std::u16string& title) {
  return PropertyList(
      std::vector<PropertyList::Entry>{{String(u"address"), PropertyList(String(u"http://a.example/"))},
                                       {String(u"pageTitle"), PropertyList(String(title))}});
}

std::u16string pageOf(const Texts& texts) {
  const String user(u"kim");
  WFBlockPage page = texts.kind % 5 == 4 ? WFBlockPage::initNoOveridePageWithUsername(user)
                                         : WFBlockPage(user, texts.kind % 2 == 1, texts.kind % 4 > 1);
  page.setUserVisibleURLString(String(texts.url));
  page.setFormPostToURLString(String(u"http://127.0.0.1:10011/"));
  page.setAllowedWebSites(PropertyList(std::vector<PropertyList>{site(texts.first), site(texts.second)}));
  const String html = page.page();
  if (!html) std::abort();  // these pages are never too long
  return std::u16string(html.view());
}

// Character by character, unlike the replacements that are tested.
std::u16string escaped(std::u16string_view text, bool address) {
  std::u16string out;
  for (const char16_t c : text) {
    if (c == u'&')
      out += u"&amp;";
    else if (c == u'<')
      out += u"&lt;";
    else if (c == u'>')
      out += u"&gt;";
    else if (c == u'"')
      out += u"&quot;";
    else if (c == u'\'')
      out += address ? u"`" : u"&apos;";
    else
      out += c;
  }
  return out;
}

std::array<std::ptrdiff_t, 4> markup(const std::u16string& html) {
  const auto count = [&](char16_t c) { return std::count(html.begin(), html.end(), c); };
  return {count(u'<'), count(u'>'), count(u'"'), count(u'\'')};
}

bool namesMarker(const std::u16string& text) {
  return text.find(u"_NO_LOC") != std::u16string::npos;
}

// Also when the name only comes together once the markers of the form, which hold nothing here, are gone.
bool namesList(std::u16string address) {
  for (const std::u16string_view marker : {kFormURL, kFormTitle}) {
    for (std::size_t at = address.find(marker); at != std::u16string::npos; at = address.find(marker, at)) {
      address.erase(at, marker.size());
    }
  }
  return address.find(kList) != std::u16string::npos;
}

void expectTitle(const std::u16string& html, const std::u16string& title) {
  std::u16string label = escaped(title, false);
  if (label.size() > 40) label = label.substr(0, 40) + u"...";
  if (html.find(u"\">" + label + u"</a><br>") == std::u16string::npos) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;  // 130 markers at most, each a style or script: a page of some 700 KB
  static const English& english = *new English;
  static_cast<void>(english);
  const std::vector<std::u16string> fields = reference::fieldsOf(reference::unitsFrom(data, size), 4);
  Texts texts{fields[0], fields[1], fields[2], fields[3].empty() ? 0U : fields[3][0]};
  // An address may show the list a second time, links and all; that is how markers work.
  if (namesList(texts.url)) return 0;

  const std::u16string html = pageOf(texts);
  if (markup(html) != markup(pageOf({u"x", u"x", u"x", texts.kind}))) std::abort();
  if (namesMarker(texts.url) || namesMarker(texts.first) || namesMarker(texts.second)) return 0;
  if (html.find(u"<bdi>" + escaped(texts.url, true) + u"</bdi>") == std::u16string::npos) std::abort();
  const bool list = texts.kind % 5 != 4 && texts.kind % 2 == 1;
  if (list) {
    expectTitle(html, texts.first);
    expectTitle(html, texts.second);
  }
  return 0;
}
