#include "platform/PreferenceStore.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/FileSystem.h"
#include "sifterra/platform/PropertyList.h"

namespace sifterra::platform {
namespace {

using Texts = std::vector<std::string>;

class PreferenceStoreTest : public ::testing::Test {
 protected:
  PreferenceStoreTest() {
    char name[] = "/tmp/sifterra-preferences-XXXXXX";
    root_ = ::mkdtemp(name);
    setFileSystemRoot(root_);
  }
  ~PreferenceStoreTest() override {
    setFileSystemRoot("");
    std::filesystem::remove_all(root_);
  }

  void write(const std::string& path, std::string_view contents) const {
    std::filesystem::create_directories(std::filesystem::path(root_ + path).parent_path());
    std::ofstream(root_ + path, std::ios::binary) << contents;
  }
  void writeManaged(const std::string& user, const PropertyList& list,
                    PropertyList::Format format = PropertyList::Format::XML) const {
    write("/Library/Managed Preferences/" + user + "/com.vendrel.preferences.plist",
          list.write(format).chars());
  }
  void writeAccount(const std::string& user, const std::string& language) const {
    write("/var/lib/AccountsService/users/" + user, "[User]\nLanguage=" + language + "\n");
  }
  static Texts strings(const std::string& user, std::u16string_view key = kPreferredLanguagesKey) {
    Texts all;
    for (const String& string : PreferenceStore::current().stringsForKey(key, String::fromUTF8(user))) {
      all.push_back(string.toUTF8());
    }
    return all;
  }

  std::string root_;
};

PropertyList texts(const Texts& strings) {
  std::vector<PropertyList> values;
  for (const std::string& string : strings) values.emplace_back(String::fromUTF8(string));
  return PropertyList(std::move(values));
}
PropertyList dictionary(const char16_t* key, PropertyList value) {
  return PropertyList(std::vector<PropertyList::Entry>{{String(key), std::move(value)}});
}

TEST_F(PreferenceStoreTest, TheKeyIsTheDocumentedOne) {
  EXPECT_EQ(kPreferredLanguagesKey, u"VendrelLanguages");
}

TEST_F(PreferenceStoreTest, ReadsTheManagedPreferencesFirst) {
  writeManaged("kim", dictionary(u"VendrelLanguages", texts({"de-AT", "fr"})));
  writeAccount("kim", "es");
  write("/etc/default/locale", "LANG=it\n");
  EXPECT_EQ(strings("kim"), (Texts{"de-AT", "fr"}));
}

TEST_F(PreferenceStoreTest, ReadsBinaryListsAndSingleStrings) {
  writeManaged("kim", dictionary(u"VendrelLanguages", PropertyList(String(u"ja"))),
               PropertyList::Format::Binary);
  EXPECT_EQ(strings("kim"), Texts{"ja"});
}

TEST_F(PreferenceStoreTest, PassesOverValuesOfOtherKinds) {
  writeManaged("kim", dictionary(u"VendrelLanguages",
                                 PropertyList(std::vector<PropertyList>{PropertyList(true), texts({"fr"}),
                                                                        PropertyList(String(u"de"))})));
  EXPECT_EQ(strings("kim"), Texts{"de"});
  writeAccount("kim", "es");
  writeManaged("kim", dictionary(u"VendrelLanguages", PropertyList(true)));
  EXPECT_EQ(strings("kim"), Texts{"es"});
  writeManaged("kim", texts({"de"}));
  EXPECT_EQ(strings("kim"), Texts{"es"});
}

TEST_F(PreferenceStoreTest, ThenTheAccountThenTheSystem) {
  write("/etc/default/locale", "LANG=it_IT.UTF-8\n");
  writeAccount("kim", "es_MX.UTF-8");
  EXPECT_EQ(strings("kim"), Texts{"es-MX"});
  EXPECT_EQ(strings("sam"), Texts{"it-IT"});
  write("/etc/locale.conf", "LANG=pl_PL.UTF-8\n");
  EXPECT_EQ(strings("sam"), Texts{"it-IT"});
  std::filesystem::remove(root_ + "/etc/default/locale");
  EXPECT_EQ(strings("sam"), Texts{"pl-PL"});
}

TEST_F(PreferenceStoreTest, ABrokenListIsNone) {
  write("/Library/Managed Preferences/kim/com.vendrel.preferences.plist", "<plist><dict>");
  writeAccount("kim", "es");
  EXPECT_EQ(strings("kim"), Texts{"es"});
}

TEST_F(PreferenceStoreTest, WithoutAnythingIsEmpty) {
  EXPECT_EQ(strings("kim"), Texts());
  EXPECT_EQ(strings(""), Texts());
}

TEST_F(PreferenceStoreTest, ReadsNoEnvironment) {
  ::setenv("LANG", "de_DE.UTF-8", 1);
  ::setenv("LANGUAGE", "de", 1);
  ::setenv("LC_ALL", "de_DE.UTF-8", 1);
  EXPECT_EQ(strings("kim"), Texts());
  for (const char* name : {"LANG", "LANGUAGE", "LC_ALL"}) ::unsetenv(name);
}

TEST_F(PreferenceStoreTest, NamesThatLeadElsewhereMakeNoPath) {
  write("/var/lib/AccountsService/secret", "[User]\nLanguage=de\n");
  write("/Library/com.vendrel.preferences.plist",
        dictionary(u"VendrelLanguages", texts({"de"})).write(PropertyList::Format::XML).chars());
  writeAccount("kim", "de");
  for (const std::string& name : {std::string("../secret"), std::string("../users/kim"), std::string(".."),
                                  std::string("."), std::string(), std::string("kim\0", 4),
                                  std::string("/kim"), std::string("kim/"), std::string(10000, 'k')}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(strings(name), Texts());
  }
  EXPECT_TRUE(PreferenceStore::current().stringsForKey(kPreferredLanguagesKey, nullptr).empty());
}

TEST_F(PreferenceStoreTest, APipeOrADirectoryIsNotWaitedFor) {
  std::filesystem::create_directories(root_ + "/var/lib/AccountsService/users");
  ASSERT_EQ(::mkfifo((root_ + "/var/lib/AccountsService/users/kim").c_str(), 0600), 0);
  std::filesystem::create_directories(root_ + "/etc/default/locale");
  EXPECT_EQ(strings("kim"), Texts());
}

TEST_F(PreferenceStoreTest, OtherKeysComeFromTheManagedPreferencesOnly) {
  writeManaged("kim", dictionary(u"Other", texts({"x"})));
  writeAccount("kim", "de");
  EXPECT_EQ(strings("kim", u"Other"), Texts{"x"});
  EXPECT_EQ(strings("kim", u"Missing"), Texts());
}

TEST_F(PreferenceStoreTest, AUsersOwnAreNotThoseOfTheMachine) {
  write("/etc/default/locale", "LANG=it_IT.UTF-8\n");
  writeAccount("kim", "de");
  writeManaged("ann", dictionary(u"VendrelLanguages", texts({"es", "fr"})));
  const auto own = [](const char* user) {
    return PreferenceStore::current().ownStringsForKey(kPreferredLanguagesKey, String::fromUTF8(user));
  };
  EXPECT_EQ(own("ann"), (std::vector<String>{String(u"es"), String(u"fr")}));
  EXPECT_EQ(own("kim").size(), 1U);
  EXPECT_TRUE(own("bob").empty());
  EXPECT_TRUE(own("../ann").empty());
  EXPECT_EQ(strings("bob").size(), 1U);
}

TEST_F(PreferenceStoreTest, CanBeReplaced) {
  class Fixed final : public PreferenceStore {
   public:
    [[nodiscard]] std::vector<String> stringsForKey(std::u16string_view, const String&) const override {
      return {String(u"fixed")};
    }
  };
  const Fixed fixed;
  PreferenceStore::setCurrentForTesting(&fixed);
  EXPECT_EQ(strings("kim"), Texts{"fixed"});
  PreferenceStore::setCurrentForTesting(nullptr);
  EXPECT_EQ(strings("kim"), Texts());
}

TEST(FileNames, StayInTheirDirectory) {
  for (const std::string& name : {std::string("kim"), std::string("a.b"), std::string("..."),
                                  std::string(".x"), std::string("k\u00ef m"), std::string(255, 'k')}) {
    EXPECT_TRUE(isFileName(name)) << name;
  }
  for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                  std::string("a\0b", 3), std::string(256, 'k')}) {
    EXPECT_FALSE(isFileName(name)) << name;
  }
}

}  // namespace
}  // namespace sifterra::platform
