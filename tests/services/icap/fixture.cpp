#include "services/icap/fixture.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sifterra::icap {

TemporaryDirectory::TemporaryDirectory() {
  std::string name = std::filesystem::temp_directory_path() / "sifterra-icap-XXXXXX";
  if (!mkdtemp(name.data())) throw std::runtime_error("cannot make a directory");
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryDirectory::write(const std::string& name, std::string_view bytes) const {
  const std::filesystem::path path = path_ + "/" + name;
  std::filesystem::create_directories(path.parent_path());
  const std::string draft = path.string() + ".draft";
  std::ofstream(draft, std::ios::binary) << bytes;
  std::filesystem::rename(draft, path);
  return path;
}

std::string TemporaryDirectory::policyPath(const std::string& user) const {
  return path_ + "/Library/Managed Preferences/" + user + "/com.vendrel.hearthguard.contentfilter.plist";
}

void TemporaryDirectory::writePolicy(const std::string& user, std::string_view entries) const {
  const std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>" +
                           std::string(entries) + "</dict>\n</plist>\n";
  write(policyPath(user).substr(path_.size() + 1), text);
}

void TemporaryDirectory::breakPolicy(const std::string& user) const {
  write(policyPath(user).substr(path_.size() + 1), "no property list");
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

std::string allowedPage() {
  return readFile(std::string(SIFTERRA_SOURCE_DIR) + "/examples/garden-diary.html");
}

std::string refusedPage() {
  return readFile(std::string(SIFTERRA_SOURCE_DIR) + "/examples/adult-video-site.html");
}

std::string contentFilter(std::string_view allowed, std::string_view denied) {
  std::string entries = "<key>restrictWeb</key><true/><key>useContentFilter</key><true/>";
  if (!allowed.empty())
    entries += "<key>filterWhitelist</key><array><string>" + std::string(allowed) + "</string></array>";
  if (!denied.empty())
    entries += "<key>filterBlacklist</key><array><string>" + std::string(denied) + "</string></array>";
  return entries;
}

}  // namespace sifterra::icap
