#include "sifterra/policy/WFManagedPreferences.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/FileSystem.h"

namespace sifterra {
namespace {

namespace fs = std::filesystem;
using platform::PropertyList;
using platform::String;
using List = WFManagedPreferences::List;
using State = WFManagedPreferences::State;
using Switch = WFManagedPreferences::Switch;

String text(std::string_view utf8) {
  return String::fromUTF8(utf8);
}

class ManagedPreferences : public testing::Test {
 protected:
  ManagedPreferences() {
    char name[] = "/tmp/sifterra-managed-XXXXXX";
    root_ = ::mkdtemp(name);
    platform::setFileSystemRoot(root_);
  }
  ~ManagedPreferences() override {
    platform::setFileSystemRoot("");
    fs::remove_all(root_);
  }

  static WFManagedPreferences editing() { return WFManagedPreferences::loadForEditing(text("ann")); }
  static WFManagedPreferences loaded() { return WFManagedPreferences::load(text("ann")); }
  static std::string path() { return WFManagedPreferences::pathForUser(text("ann")).toUTF8(); }
  static void write(const std::string& bytes) {
    fs::create_directories(fs::path(path()).parent_path());
    std::ofstream(path()) << bytes;
  }
  static std::vector<std::string> addresses(const WFManagedPreferences& preferences, List list) {
    std::vector<std::string> texts;
    for (const auto& site : preferences.sites(list)) texts.push_back(site.address.toUTF8());
    return texts;
  }
  static std::size_t add(WFManagedPreferences& preferences, List list, const std::string& address,
                         const String& title = nullptr) {
    const WFManagedPreferences::Site site{text(address), title};
    return preferences.add(list, std::span(&site, 1));
  }
  static bool remove(WFManagedPreferences& preferences, List list, const std::string& address) {
    const String wanted = text(address);
    return preferences.remove(list, std::span(&wanted, 1)).front();
  }

  std::string root_;
};

using Texts = std::vector<std::string>;

TEST_F(ManagedPreferences, AreAbsentAtFirst) {
  const WFManagedPreferences preferences = loaded();
  EXPECT_EQ(preferences.state(), State::Absent);
  EXPECT_TRUE(preferences.problem().isNull());
  EXPECT_EQ(preferences.path().toUTF8(),
            root_ + "/Library/Managed Preferences/ann/com.vendrel.hearthguard.contentfilter.plist");
  EXPECT_EQ(preferences.value(Switch::ContentFilter), std::nullopt);
  EXPECT_TRUE(preferences.sites(List::Deny).empty());
  EXPECT_FALSE(fs::exists(root_ + "/Library"));  // looking makes nothing
}

TEST_F(ManagedPreferences, SavedIsWhatIsLoaded) {
  {
    WFManagedPreferences preferences = editing();
    preferences.setValue(Switch::RestrictWeb, true);
    preferences.setValue(Switch::ContentFilter, true);
    preferences.setValue(Switch::AllowListOnly, false);
    preferences.setValue(Switch::AlwaysAllowHTTPS, true);
    preferences.setValue(Switch::NoOverridding, true);
    EXPECT_EQ(add(preferences, List::Allow, "http://a.example"), 1u);
    EXPECT_EQ(add(preferences, List::Deny, "http://d.example"), 1u);
    EXPECT_EQ(add(preferences, List::Sites, "http://s.example", text("S")), 1u);
    ASSERT_TRUE(preferences.save()) << preferences.problem().toUTF8();
    EXPECT_EQ(preferences.state(), State::Read);
  }
  const PropertyList file = PropertyList::readFile(path()).value;
  EXPECT_EQ(file[u"restrictWeb"], PropertyList(true));
  EXPECT_EQ(file[u"useContentFilter"], PropertyList(true));
  EXPECT_EQ(file[u"whitelistEnabled"], PropertyList(false));
  EXPECT_EQ(file[u"alwaysAllowHTTPS"], PropertyList(true));
  EXPECT_EQ(file[u"noOverriddingAllowed"], PropertyList(true));
  EXPECT_EQ(file[u"filterWhitelist"].array()[0].string().toUTF8(), "http://a.example");
  EXPECT_EQ(file[u"filterBlacklist"].array()[0].string().toUTF8(), "http://d.example");
  EXPECT_EQ(file[u"siteWhitelist"].array()[0][u"address"].string().toUTF8(), "http://s.example");
  EXPECT_EQ(file[u"siteWhitelist"].array()[0][u"pageTitle"].string().toUTF8(), "S");
  EXPECT_EQ(loaded().value(Switch::AllowListOnly), false);
}

TEST_F(ManagedPreferences, AddKeepsTheOrderAndTheFirstOfEachAddress) {
  WFManagedPreferences preferences = editing();
  const WFManagedPreferences::Site sites[] = {{text("http://b"), nullptr},
                                              {text("http://a"), nullptr},
                                              {text("http://b"), nullptr},
                                              {nullptr, nullptr}};
  EXPECT_EQ(preferences.add(List::Allow, sites), 2u);
  EXPECT_EQ(preferences.add(List::Allow, sites), 0u);
  EXPECT_EQ(addresses(preferences, List::Allow), (Texts{"http://b", "http://a"}));
}

TEST_F(ManagedPreferences, TitlesAreReplacedByTitlesOnly) {
  WFManagedPreferences preferences = editing();
  add(preferences, List::Sites, "http://a");
  EXPECT_EQ(preferences.sites(List::Sites)[0].title.toUTF8(), "http://a");
  add(preferences, List::Sites, "http://a", text("A"));
  EXPECT_EQ(preferences.sites(List::Sites)[0].title.toUTF8(), "A");
  add(preferences, List::Sites, "http://a");
  EXPECT_EQ(preferences.sites(List::Sites)[0].title.toUTF8(), "A");
  EXPECT_EQ(preferences.sites(List::Sites).size(), 1u);
}

TEST_F(ManagedPreferences, RemoveTakesEveryCopyAndTellsWhatWasThere) {
  write(
      "<plist><dict><key>filterBlacklist</key><array><string>a</string><string>b</string><string>a</string></"
      "array>"
      "</dict></plist>");
  WFManagedPreferences preferences = editing();
  const String wanted[] = {text("c"), text("a"), nullptr};
  EXPECT_EQ(preferences.remove(List::Deny, wanted), (std::vector<bool>{false, true, false}));
  EXPECT_EQ(addresses(preferences, List::Deny), Texts{"b"});
}

TEST_F(ManagedPreferences, ClearEmptiesAList) {
  WFManagedPreferences preferences = editing();
  add(preferences, List::Deny, "http://a");
  preferences.clear(List::Deny);
  EXPECT_TRUE(preferences.sites(List::Deny).empty());
}

TEST_F(ManagedPreferences, SwitchesAreReadAsTheLibraryReadsThem) {
  write(
      "<plist><dict><key>restrictWeb</key><string>yes</string><key>useContentFilter</key><integer>0</integer>"
      "<key>whitelistEnabled</key><array/></dict></plist>");
  const WFManagedPreferences preferences = loaded();
  EXPECT_EQ(preferences.value(Switch::RestrictWeb), true);
  EXPECT_EQ(preferences.value(Switch::ContentFilter), false);
  EXPECT_EQ(preferences.value(Switch::AllowListOnly), true);
  EXPECT_EQ(preferences.value(Switch::AlwaysAllowHTTPS), std::nullopt);
}

TEST_F(ManagedPreferences, AListOfAnotherKindCannotBeChanged) {
  write("<plist><dict><key>siteWhitelist</key><dict/></dict></plist>");
  WFManagedPreferences preferences = editing();
  EXPECT_TRUE(preferences.isMalformed(List::Sites));
  EXPECT_EQ(add(preferences, List::Sites, "http://a"), 0u);
  EXPECT_FALSE(remove(preferences, List::Sites, "http://a"));
  preferences.clear(List::Sites);
  EXPECT_TRUE(preferences.isMalformed(List::Sites));
  EXPECT_FALSE(preferences.isMalformed(List::Allow));
}

TEST_F(ManagedPreferences, BrokenOnesAreNotSavedOverUnlessDiscarded) {
  write("junk");
  WFManagedPreferences preferences = editing();
  EXPECT_EQ(preferences.state(), State::Broken);
  const String problem = preferences.problem();
  EXPECT_FALSE(problem.isNull());
  preferences.setValue(Switch::ContentFilter, true);
  EXPECT_FALSE(preferences.save());
  EXPECT_EQ(preferences.problem(), problem);
  EXPECT_EQ(platform::readFile(path(), 100), "junk");
  preferences.discardBroken();
  EXPECT_TRUE(preferences.save());
  EXPECT_EQ(loaded().value(Switch::ContentFilter), true);
}

TEST_F(ManagedPreferences, ArraysAreNoPreferenceFile) {
  write("<plist><array/></plist>");
  EXPECT_EQ(loaded().state(), State::Broken);
  EXPECT_EQ(loaded().problem().toUTF8(), "it is no dictionary");
}

TEST_F(ManagedPreferences, NamesThatMakeNoPathAreBrokenForGood) {
  for (const String& user : {String(), text(""), text(".."), text("a/b"), String(std::u16string(1, u'\0')),
                             String(std::u16string(10000, u'x'))}) {
    WFManagedPreferences preferences = WFManagedPreferences::loadForEditing(user);
    EXPECT_EQ(preferences.state(), State::Broken);
    EXPECT_EQ(preferences.problem().toUTF8(), "the user's name makes no path");
    EXPECT_TRUE(preferences.path().isNull());
    preferences.discardBroken();
    preferences.setValue(Switch::ContentFilter, true);
    EXPECT_FALSE(preferences.save());
  }
}

TEST_F(ManagedPreferences, WithoutEditingNothingIsSaved) {
  WFManagedPreferences preferences = loaded();
  preferences.setValue(Switch::ContentFilter, true);
  EXPECT_FALSE(preferences.save());
  EXPECT_EQ(preferences.problem().toUTF8(), "it was not loaded for editing");
}

TEST_F(ManagedPreferences, WhatCouldNotBeReadAgainIsNotSaved) {
  WFManagedPreferences preferences = editing();
  add(preferences, List::Deny, "http://good");
  ASSERT_TRUE(preferences.save());
  const WFManagedPreferences::Site site{String(std::u16string(u"http://a\0b", 10)), nullptr};
  preferences.add(List::Deny, std::span(&site, 1));
  EXPECT_FALSE(preferences.save());
  EXPECT_EQ(preferences.problem().toUTF8(),
            "it could not be read again: it would be too large, or hold characters that it must not");
  EXPECT_EQ(addresses(loaded(), List::Deny), Texts{"http://good"});
}

TEST_F(ManagedPreferences, OtherKeysAreTold) {
  write("<plist><dict><key>z</key><true/><key>restrictWeb</key><true/><key>a</key><true/></dict></plist>");
  const std::vector<String> keys = loaded().otherKeys();
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(keys[0].toUTF8(), "z");
  EXPECT_EQ(keys[1].toUTF8(), "a");
}

TEST_F(ManagedPreferences, WritersInThreadsLoseNothing) {
  std::vector<std::thread> writers;
  for (int w = 0; w < 4; ++w) {
    writers.emplace_back([w] {
      for (int i = 0; i < 10; ++i) {
        WFManagedPreferences preferences = editing();
        add(preferences, List::Deny, "http://" + std::to_string(w) + "-" + std::to_string(i));
        EXPECT_TRUE(preferences.save()) << preferences.problem().toUTF8();
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(loaded().sites(List::Deny).size(), 40u);
}

}  // namespace
}  // namespace sifterra
