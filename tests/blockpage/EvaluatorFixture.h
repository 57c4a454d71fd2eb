// EvaluatorFixture: users, their preference files, templates, a map and the filter's control, for the life of
// a test of the evaluator.
//
//   "free"      no preferences
//   "filtered"  judged by content, may ask for an override
//   "strict"    the same, may not ask
//   "listed"    an allow list only
//   "shut"      an allow list only, may not ask
//
// A page is refused when it labels itself adult-only, and when it is on no allow list.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>

#include "blockpage/web_filter_activity.h"
#include "judge/LibraryMap.h"
#include "platform/UserDirectory.h"
#include "policy/PreferenceFixture.h"
#include "sifterra/blockpage/WebFilterEvaluator.h"

namespace sifterra {

class FakeUserDirectory final : public platform::UserDirectory {
 public:
  FakeUserDirectory() { setCurrentForTesting(this); }
  ~FakeUserDirectory() override { setCurrentForTesting(nullptr); }
  [[nodiscard]] platform::String currentUserName() const override { return currentUser; }
  [[nodiscard]] std::optional<platform::UserRecord> recordOf(const platform::String& user) const override {
    const auto found = records.find(user.toUTF8());
    return found == records.end() ? std::nullopt : std::optional(found->second);
  }

  platform::String currentUser{u"filtered"};
  std::map<std::string, platform::UserRecord> records;
};

class EvaluatorFixture {
 public:
  EvaluatorFixture() {
    const std::string filter = xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true);
    const std::string list = xmlSwitch("restrictWeb", true) + xmlSwitch("whitelistEnabled", true) +
                             xmlSites({"http://allowed.example.com/"});
    const std::string noOverride = xmlSwitch("noOverriddingAllowed", true);
    preferences.writeKeys("filtered", filter);
    preferences.writeKeys("strict", filter + noOverride);
    preferences.writeKeys("listed", list);
    preferences.writeKeys("shut", list + noOverride);
    library.addMapFile();
    library.setMap(calibratedScript(0.9F, 0.1F));
    constexpr const char* kMarkers =
        "|USER_VISIBLE_RESTRICTED_URL_NO_LOC|SEND_FORM_TO_URL_NO_LOC|PAGE_TO_OVERRIDE_URL_NO_LOC"
        "|PAGE_TO_OVERRIDE_TITLE_NO_LOC|ALLOWED_LIST_OF_WEBSITES_NO_LOC|";
    for (const char* name :
         {"blockpage", "blockpage-wl", "blockpage-net", "blockpage-net-wl", "blockpage-nooverride"})
      writeTemplate(name, name + std::string(kMarkers));
    forgetWebFilterActivation();
  }
  ~EvaluatorFixture() { forgetWebFilterActivation(); }
  EvaluatorFixture(const EvaluatorFixture&) = delete;
  EvaluatorFixture& operator=(const EvaluatorFixture&) = delete;

  void writeTemplate(const std::string& name, const std::string& contents) const {
    const std::string folder = library.directory() + "/English.lproj";
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/" + name + ".html") << contents;
    std::ofstream(folder + "/blockpage_style.css") << "style";
    std::ofstream(folder + "/blockpage_script.js") << "script";
  }
  void removeTemplates() const { std::filesystem::remove_all(library.directory() + "/English.lproj"); }

  LibraryMap library;
  PreferenceFixture preferences;
  FakeUserDirectory users;
};

inline platform::URL urlFrom(const char16_t* text) {
  return platform::URL::fromString(platform::String(text));
}

// A page that restricts itself, and one that does not; both long enough to be judged.
inline constexpr char kAdult[] =
    "<meta charset=\"UTF-8\"><meta name=\"rating\" "
    "content=\"RTA-5042-1996-1400-1577-RTA\"><title>Caf\xC3\xA9</title>";
inline constexpr char kOrdinary[] = "<meta charset=\"UTF-8\"><title>News</title>";

inline std::string pageOf(const char* head, std::size_t bytes) {
  std::string page(head);
  while (page.size() < bytes) page += "some more words ";
  page.resize(bytes);
  return page;
}

}  // namespace sifterra
