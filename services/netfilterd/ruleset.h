// ruleset: the packet filter's rules for a set of managed users, as text for nftables.
//
// One table, `inet sifterra`, replaced as a whole in one transaction. Nothing here touches the system.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Configuration.h"
#include "FilterState.h"
#include "SubordinateIds.h"
#include "surroundings.h"

namespace sifterra::netfilterd {

// Where the web connections of one managed user go, for one version of IP.
struct ProxyTarget {
  std::string address;  // empty: this machine, at the same port
  std::uint16_t httpPort = 0;
  std::uint16_t httpsPort = 0;
};

struct ManagedUser {
  std::vector<IdRange> ids;         // his own number and those lent to him
  std::optional<ProxyTarget> ipv4;  // none: nothing of the web passes
  std::optional<ProxyTarget> ipv6;
};

// Everything that the rules depend on.
struct FilterPlan {
  std::vector<ManagedUser> users;
  std::optional<std::uint32_t> proxyUid;
  bool httpsFiltering = false;
  std::vector<std::uint16_t> tcpPorts;
  std::vector<std::uint16_t> udpPorts;
  std::vector<std::uint16_t> closedLocalPorts;
  std::vector<std::uint16_t> guardedLocalPorts;
  std::vector<std::string> dnsOverHttps;
  std::vector<std::string> resolvers;
};

inline constexpr const char* kTable = "inet sifterra";

// The plan for what the administrator decided and programs said. A user of the configuration keeps his own
// ports when a program names him as well; one whose pause lasts is left out.
[[nodiscard]] FilterPlan planOf(const Configuration& configuration, const FilterState& state,
                                const Surroundings& surroundings);

// The rules: a transaction that makes the table anew, whatever was in it.
[[nodiscard]] std::string rulesetText(const FilterPlan& plan);

// The ranges in ascending order, without overlaps.
[[nodiscard]] std::vector<IdRange> mergedRanges(std::vector<IdRange> ranges);

}  // namespace sifterra::netfilterd
