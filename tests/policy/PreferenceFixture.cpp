#include "policy/PreferenceFixture.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/FileSystem.h"
#include "policy/preference_cache.h"

namespace sifterra {

PreferenceFixture::PreferenceFixture() {
  char name[] = "/tmp/sifterra-preferences-XXXXXX";
  root_ = ::mkdtemp(name);
  platform::setFileSystemRoot(root_);
  resetPreferenceCacheForTesting();
}

PreferenceFixture::~PreferenceFixture() {
  resetPreferenceCacheForTesting();
  platform::setFileSystemRoot("");
  std::filesystem::remove_all(root_);
}

std::string PreferenceFixture::pathFor(const std::string& user) const {
  const std::string directory = root_ + "/Library/Managed Preferences/" + user;
  std::filesystem::create_directories(directory);
  return directory + "/com.vendrel.hearthguard.contentfilter.plist";
}

void PreferenceFixture::write(const std::string& user, std::string_view bytes) const {
  const std::string path = pathFor(user);
  const std::string unfinished = path + ".new";
  std::ofstream(unfinished, std::ios::binary) << bytes;
  std::filesystem::rename(unfinished, path);
}

void PreferenceFixture::writeKeys(const std::string& user, const std::string& body) const {
  write(user, xmlList("<dict>" + body + "</dict>"));
}

void PreferenceFixture::setDate(const std::string& user, long seconds) const {
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  if (::utimensat(AT_FDCWD, pathFor(user).c_str(), times, 0) != 0) std::abort();
}

std::string xmlList(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + body + "\n</plist>\n";
}

std::string xmlTexts(const std::string& key, std::initializer_list<const char*> texts) {
  std::string list = "<key>" + key + "</key><array>";
  for (const char* text : texts) list.append("<string>").append(text).append("</string>");
  return list + "</array>";
}

std::string xmlSites(std::initializer_list<const char*> addresses) {
  std::string list = "<key>siteWhitelist</key><array>";
  for (const char* address : addresses) {
    list.append("<dict><key>address</key><string>").append(address);
    list.append("</string><key>pageTitle</key><string>A site</string></dict>");
  }
  return list + "</array>";
}

std::string xmlSwitch(const std::string& key, bool on) {
  return "<key>" + key + "</key>" + (on ? "<true/>" : "<false/>");
}

}  // namespace sifterra
