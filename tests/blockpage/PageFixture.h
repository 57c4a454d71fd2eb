// PageFixture: a resource directory and a preference store of a test's own, for its life.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Bundle.h"
#include "platform/PreferenceStore.h"
#include "sifterra/platform/PropertyList.h"
#include "sifterra/platform/String.h"

namespace sifterra {

class FakePreferenceStore final : public platform::PreferenceStore {
 public:
  FakePreferenceStore() { setCurrentForTesting(this); }
  ~FakePreferenceStore() override { setCurrentForTesting(nullptr); }

  [[nodiscard]] std::vector<platform::String> stringsForKey(std::u16string_view key,
                                                            const platform::String& user) const override {
    if (!failure.empty()) throw std::runtime_error(failure);
    if (key != u"VendrelLanguages") return {};
    const auto found = languages.find(user.toUTF8());
    return found == languages.end() ? std::vector<platform::String>() : found->second;
  }

  std::map<std::string, std::vector<platform::String>> languages;
  std::string failure;  // thrown when not empty
};

inline platform::String text(std::string_view utf8) {
  return platform::String::fromUTF8(utf8);
}

// The library's bundle, empty at first.
class PageFixture : public ::testing::Test {
 protected:
  PageFixture() {
    char name[] = "/tmp/sifterra-blockpage-XXXXXX";
    directory_ = ::mkdtemp(name);
    platform::Bundle::setLibraryDirectoryForTesting(directory_);
  }
  ~PageFixture() override {
    platform::Bundle::setLibraryDirectoryForTesting("");
    std::filesystem::remove_all(directory_);
  }

  void write(const std::string& language, const std::string& file, const std::string& contents) const {
    const std::string folder = directory_ + "/" + language + ".lproj";
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/" + file) << contents;
  }
  // A template in English, with the style and the script that its page asks for.
  void writeEnglish(const std::string& file, const std::string& contents) const {
    write("English", file, contents);
    write("English", "blockpage_style.css", "style");
    write("English", "blockpage_script.js", "script");
  }

  std::string directory_;
  FakePreferenceStore preferences_;
};

// An entry of an allow list.
inline platform::PropertyList site(const std::string& address, const std::string& title) {
  return platform::PropertyList(
      std::vector<platform::PropertyList::Entry>{{text("address"), platform::PropertyList(text(address))},
                                                 {text("pageTitle"), platform::PropertyList(text(title))}});
}
inline platform::PropertyList siteWith(const std::string& key, const std::string& value) {
  return platform::PropertyList(
      std::vector<platform::PropertyList::Entry>{{text(key), platform::PropertyList(text(value))}});
}
inline platform::PropertyList list(std::vector<platform::PropertyList> sites) {
  return platform::PropertyList(std::move(sites));
}

}  // namespace sifterra
