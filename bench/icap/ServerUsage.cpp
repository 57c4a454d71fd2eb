#include "icap/ServerUsage.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

namespace sifterra::bench {
namespace {

struct Stat {
  pid_t pid = 0;
  pid_t parent = 0;
  double ticks = 0;
};

// /proc/PID/stat: the name in brackets may hold anything, so fields are counted from the last bracket.
bool readStat(const std::filesystem::path& directory, Stat& stat) {
  std::ifstream file(directory / "stat");
  const std::string line((std::istreambuf_iterator<char>(file)), {});
  const std::size_t bracket = line.rfind(')');
  if (bracket == std::string::npos) return false;
  std::istringstream fields(line.substr(bracket + 1));
  std::string state;
  std::string skipped;
  fields >> state >> stat.parent;
  for (int field = 5; field < 14; ++field) fields >> skipped;
  double user = 0;
  double system = 0;
  double childrenUser = 0;
  double childrenSystem = 0;
  fields >> user >> system >> childrenUser >> childrenSystem;
  stat.pid = static_cast<pid_t>(std::strtol(directory.filename().c_str(), nullptr, 10));
  stat.ticks = user + system + childrenUser + childrenSystem;
  return static_cast<bool>(fields);
}

bool isNumber(const std::string& name) {
  return !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
}

std::vector<Stat> familyOf(pid_t root) {
  std::vector<Stat> all;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    Stat stat;
    if (isNumber(entry.path().filename()) && readStat(entry.path(), stat)) all.push_back(stat);
  }
  std::vector<Stat> family;
  std::vector<pid_t> wanted{root};
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    for (const Stat& stat : all) {
      if (stat.pid == wanted[i]) family.push_back(stat);
      if (stat.parent == wanted[i]) wanted.push_back(stat.pid);
    }
  }
  return family;
}

std::size_t kibibytes(const std::string& text, const std::string& key) {
  const std::size_t at = text.find("\n" + key);
  return at == std::string::npos ? 0 : std::strtoul(text.c_str() + at + 1 + key.size(), nullptr, 10);
}

}  // namespace

ServerUsage serverUsage(pid_t root, bool withMemory) {
  ServerUsage usage;
  const double tick = 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
  for (const Stat& stat : familyOf(root)) {
    usage.cpuMilliseconds += stat.ticks * tick;
    ++usage.processes;
    if (!withMemory) continue;
    std::ifstream file("/proc/" + std::to_string(stat.pid) + "/smaps_rollup");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    usage.pssBytes += kibibytes(text, "Pss:") * 1024;
    usage.rssBytes = std::max(usage.rssBytes, kibibytes(text, "Rss:") * 1024);
  }
  return usage;
}

}  // namespace sifterra::bench
