// policy_fixture: a root directory of a test's own, and the policy commands below it.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {

class PolicyRoot {
 public:
  [[nodiscard]] CommandRun policy(std::vector<std::string> arguments, std::string_view input = {}) const {
    arguments.insert(arguments.begin(), "policy");
    return command(std::move(arguments), input);
  }
  [[nodiscard]] CommandRun command(std::vector<std::string> arguments, std::string_view input = {}) const {
    arguments.insert(arguments.begin(), {"--root", folder_.path()});
    return runCommand(arguments, input);
  }

  // Below the root.
  [[nodiscard]] static std::string nameOf(const std::string& user) {
    return "Library/Managed Preferences/" + user + "/com.vendrel.hearthguard.contentfilter.plist";
  }
  [[nodiscard]] std::string pathOf(const std::string& user) const { return folder_.at(nameOf(user)); }
  std::string write(const std::string& user, const std::string& plist) const {
    return folder_.write(nameOf(user), plist);
  }
  // The file's bytes.
  [[nodiscard]] std::string contentsOf(const std::string& user) const {
    std::ifstream file(pathOf(user), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  [[nodiscard]] const TemporaryFolder& folder() const { return folder_; }

 private:
  const TemporaryFolder folder_;
};

// An XML property list of these lines.
[[nodiscard]] inline std::string plistOf(const std::string& dictionary) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + dictionary +
         "</dict></plist>\n";
}

}  // namespace sifterra::tools
