// Daemon: keeps the packet filter in line with the configuration and with what programs say.
//
// What it keeps on disk, so that a restart loses nothing: netfilterd-state.json, the state of the control
// socket, netfilterd-accounts.json, the numbers of the accounts, and netfilterd.rules, the last rules that
// were good. When the configuration cannot be understood the last good rules stay or come back; whoever
// breaks the file does not open the filter.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Configuration.h"
#include "ControlService.h"
#include "FilterState.h"
#include "KeptAccounts.h"
#include "PacketFilter.h"
#include "RuleChanges.h"

namespace sifterra::netfilterd {

struct Paths {
  std::string configuration = "/etc/sifterra/netfilterd.json";
  std::string stateDirectory = "/var/lib/sifterra";
  std::string subordinates = "/etc/subuid";
  std::string resolvers = "/etc/resolv.conf";
  std::string socket = "/run/sifterra/com.vendrel.nke.webcontentfilter";
};

class Daemon {
 public:
  // `listening` is the control socket; `group` as ControlService takes it.
  Daemon(Paths paths, int listening, std::optional<gid_t> group);
  ~Daemon();

  // Brings the rules up. False, and a line in the log, when there is neither a good configuration nor rules
  // kept from an earlier run, or the kernel refuses them.
  [[nodiscard]] bool start();
  // Serves until SIGTERM or SIGINT. SIGHUP reads the configuration again. The rules stay when it ends.
  int run();

 private:
  void reload();
  [[nodiscard]] bool apply(const FilterState& state);
  [[nodiscard]] bool applyKept();
  [[nodiscard]] int change(const FilterState& state);
  void checkTable();
  void checkFiles();
  [[nodiscard]] bool someoneAppeared() const;
  void print() const;
  [[nodiscard]] std::optional<Configuration> configurationIn(std::string_view text,
                                                             std::string& problem) const;
  void keepAccounts();
  void waitAndServe(const RuleChanges& changes, std::chrono::milliseconds longest, bool& ending);
  [[nodiscard]] std::string filesStamp() const;
  [[nodiscard]] FilterState keptState() const;
  [[nodiscard]] std::string rulesFile() const { return _paths.stateDirectory + "/netfilterd.rules"; }
  [[nodiscard]] std::string accountsFile() const {
    return _paths.stateDirectory + "/netfilterd-accounts.json";
  }
  [[nodiscard]] std::string stateFile() const { return _paths.stateDirectory + "/netfilterd-state.json"; }

  Paths _paths;
  PacketFilter _filter;
  std::optional<Configuration> _configuration;  // the last good one
  std::unique_ptr<ControlService> _control;
  int _listening;
  std::optional<gid_t> _group;
  int _signals = -1;
  std::string _rules;                // what was asked of the kernel
  std::string _table;                // what the kernel made of it
  std::vector<std::string> _paused;  // when the rules were made
  std::string _stamp;                // of the files that the rules come from
  std::string _unread;               // which of them could not be read, and why
  KeptAccounts::Numbers _accounts;   // by which accounts were last known
};

// One line for the journal: 3 error, 4 warning, 6 info.
void logLine(int level, const std::string& text);

}  // namespace sifterra::netfilterd
