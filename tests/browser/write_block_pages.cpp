// write_block_pages TEXTS OUTPUT: every block page in every language, for the browser to show.
//
// TEXTS holds what the pages are filled with, a file each: "url", "form", "url64", "title64", and "sites"
// with two fields per site, each ended by a unit separator. The page of a template in a language becomes
// OUTPUT/<language>.<template>.html.
#include <array>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "blockpage/block_page_text.h"
#include "platform/Bundle.h"
#include "platform/PreferenceStore.h"
#include "sifterra/blockpage/WFBlockPage.h"

namespace {

using namespace sifterra;
using platform::PropertyList;
using platform::String;

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Every user prefers one language.
class OneLanguage final : public platform::PreferenceStore {
 public:
  explicit OneLanguage(const std::string& localization)
      : language_(String::fromUTF8(localization == "English" ? "en" : localization)) {
    setCurrentForTesting(this);
  }
  ~OneLanguage() override { setCurrentForTesting(nullptr); }
  [[nodiscard]] std::vector<String> stringsForKey(std::u16string_view, const String&) const override {
    return {language_};
  }

 private:
  String language_;
};

struct Texts {
  explicit Texts(const std::string& directory)
      : url(text(directory + "/url")),
        form(text(directory + "/form")),
        url64(text(directory + "/url64")),
        title64(text(directory + "/title64")) {
    std::vector<String> fields;
    std::string rest = contents(directory + "/sites");
    for (std::size_t end = rest.find('\x1f'); end != std::string::npos; end = rest.find('\x1f')) {
      fields.push_back(String::fromUTF8(rest.substr(0, end)));
      rest.erase(0, end + 1);
    }
    std::vector<PropertyList> all;
    for (std::size_t i = 0; i + 1 < fields.size(); i += 2) {
      all.emplace_back(std::vector<PropertyList::Entry>{{String(u"address"), PropertyList(fields[i])},
                                                        {String(u"pageTitle"), PropertyList(fields[i + 1])}});
    }
    sites = PropertyList(std::move(all));
  }
  static String text(const std::string& path) { return String::fromUTF8(contents(path)); }

  String url, form, url64, title64;
  PropertyList sites;
};

bool write(const std::string& path, WFBlockPage page, const Texts& texts) {
  page.setUserVisibleURLString(texts.url);
  page.setFormPostToURLString(texts.form);
  page.setFormRestrictedPageURLString(texts.url64);
  page.setFormRestrictedPageTitle(texts.title64);
  page.setAllowedWebSites(texts.sites);
  const String html = page.page();
  std::ofstream(path, std::ios::binary) << html.toUTF8();
  return !html.isNull();
}

// The class makes it in English only; the others are for programs that know the language themselves.
bool writeErrorPage(const std::string& path, const std::string& language) {
  const auto resource = [&](const char* name, const char* type) {
    return Texts::text(platform::Bundle::library()->pathForResource(name, type, language).value_or(""));
  };
  const std::array<MarkerValue, 2> values{
      {{u"INCLUDE_JAVASCRIPT_FILE_NO_LOC", resource("blockpage_script", "js")},
       {u"INCLUDE_CSS_FILE_NO_LOC", resource("blockpage_style", "css")}}};
  const auto html = replaceMarkers(std::u16string(resource("error", "html").view()), values, 1 << 20);
  std::ofstream(path, std::ios::binary) << String(html.value_or(u"")).toUTF8();
  return html && !html->empty();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const Texts texts(arguments[1]);
  const std::string output = arguments[2];
  const String user(u"kim");
  bool good = true;
  for (const std::string& language : platform::Bundle::library()->localizations()) {
    const OneLanguage preference(language);
    const std::string start = output + "/" + language + ".";
    good = write(start + "blockpage.html", WFBlockPage(user, false, false), texts) && good;
    good = write(start + "blockpage-net.html", WFBlockPage(user, false, true), texts) && good;
    good = write(start + "blockpage-wl.html", WFBlockPage(user, true, false), texts) && good;
    good = write(start + "blockpage-net-wl.html", WFBlockPage(user, true, true), texts) && good;
    good =
        write(start + "blockpage-nooverride.html", WFBlockPage::initNoOveridePageWithUsername(user), texts) &&
        good;
    good = writeErrorPage(start + "error.html", language) && good;
  }
  return good ? 0 : 1;
}
