// PolicyFolder: preference files below a root of the test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "sifterra/sifterra.h"

namespace sifterra::override_service {

class PolicyFolder {
 public:
  PolicyFolder() {
    char pattern[] = "/tmp/override.XXXXXX";
    _root = mkdtemp(pattern);
    WFSetFileSystemRoot(_root.c_str());
  }
  ~PolicyFolder() {
    WFSetFileSystemRoot("");
    std::filesystem::remove_all(_root);
  }

  [[nodiscard]] std::filesystem::path fileOf(const std::string& user) const {
    return _root / "Library/Managed Preferences" / user / "com.vendrel.hearthguard.contentfilter.plist";
  }
  // The keys that are given as true, and any further text for the dictionary.
  void write(const std::string& user, std::initializer_list<const char*> switches,
             const std::string& more = "") const {
    std::filesystem::create_directories(fileOf(user).parent_path());
    std::ofstream file(fileOf(user));
    file << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)";
    for (const char* key : switches) file << "<key>" << key << "</key><true/>";
    file << more << "</dict></plist>";
  }
  [[nodiscard]] std::string read(const std::string& user) const {
    std::ostringstream text;
    text << std::ifstream(fileOf(user)).rdbuf();
    return text.str();
  }

 private:
  std::filesystem::path _root;
};

}  // namespace sifterra::override_service
