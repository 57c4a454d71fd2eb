// How the rules work. A connection that a managed user opens to port 80 or 443 is turned to the proxy in the
// nat chain, by the number of the user who made the socket. The filter chain then refuses whatever a managed
// user sends that was not turned there and is on no list. So a proxy that is down, or none, means no web,
// never an unfiltered one.
//
// Refusals answer at once (reset, port unreachable) and never just drop: a browser whose QUIC is refused
// tries TCP within milliseconds, one whose packets vanish waits for seconds.
#include "ruleset.h"

#include <arpa/inet.h>

#include <algorithm>

namespace sifterra::netfilterd {
namespace {

std::string rangesText(const std::vector<IdRange>& ranges) {
  std::string text = "{ ";
  for (const IdRange& range : ranges) {
    if (text.size() > 2) text += ", ";
    text += std::to_string(range.first);
    if (range.last != range.first) text += '-' + std::to_string(range.last);
  }
  return text + " }";
}

std::string portsText(std::vector<std::uint16_t> ports) {
  std::sort(ports.begin(), ports.end());
  ports.erase(std::unique(ports.begin(), ports.end()), ports.end());
  std::string text = "{ ";
  for (const std::uint16_t port : ports) {
    if (text.size() > 2) text += ", ";
    text += std::to_string(port);
  }
  return text + " }";
}

std::string turned(const std::string& who, const char* version, const char* family, int port,
                   const ProxyTarget& target, std::uint16_t proxyPort) {
  std::string text =
      "    meta skuid " + who + " meta nfproto " + version + " tcp dport " + std::to_string(port);
  if (target.address.empty()) return text + " redirect to :" + std::to_string(proxyPort) + '\n';
  const bool isIPv6 = family[2] == '6';
  const std::string address = isIPv6 ? '[' + target.address + ']' : target.address;
  return text + " dnat " + family + " to " + address + ':' + std::to_string(proxyPort) + '\n';
}

void addTurns(std::string& text, const ManagedUser& user, bool https) {
  const std::string who = rangesText(user.ids);
  const auto add = [&](const char* version, const char* family, const std::optional<ProxyTarget>& target) {
    if (!target) return;
    text += turned(who, version, family, 80, *target, target->httpPort);
    if (https) text += turned(who, version, family, 443, *target, target->httpsPort);
  };
  add("ipv4", "ip", user.ipv4);
  add("ipv6", "ip6", user.ipv6);
}

// A line for the addresses of each version of IP: "    ip daddr { 192.0.2.1 } REST".
void addForAddresses(std::string& text, const std::vector<std::string>& addresses, const std::string& rest) {
  for (const bool ipv6 : {false, true}) {
    std::string set;
    for (const std::string& address : addresses) {
      if ((address.find(':') != std::string::npos) != ipv6) continue;
      set += (set.empty() ? "" : ", ") + address;
    }
    if (set.empty()) continue;
    text += ipv6 ? "    ip6 daddr { " : "    ip daddr { ";
    text += set;
    text += " } ";
    text += rest;
    text += '\n';
  }
}

// What of a managed user passes, and what does not.
std::string refusals(const FilterPlan& plan, const std::vector<std::uint16_t>& proxyPorts) {
  std::string text = "  chain refuse {\n";
  // Who answers in the place of the proxy, the judge or the password page plays them.
  std::vector<std::uint16_t> guarded = proxyPorts;
  guarded.insert(guarded.end(), plan.guardedLocalPorts.begin(), plan.guardedLocalPorts.end());
  if (!guarded.empty()) text += "    meta l4proto tcp tcp sport " + portsText(guarded) + " drop\n";
  // Answers to those who connect from outside are no exception: a telephone that connects to a program of the
  // user's is as good a way out as one that is connected to.
  text += "    ct status dnat accept\n";
  // Another user's port at the proxy has another user's policy.
  if (!proxyPorts.empty()) {
    text += "    fib daddr type local tcp dport " + portsText(proxyPorts) + " reject with tcp reset\n";
  }
  text += "    fib daddr type local accept\n";
  if (!plan.httpsFiltering) {
    addForAddresses(text, plan.dnsOverHttps, "tcp dport 443 reject with tcp reset");
    text += "    tcp dport 443 accept\n";
  }
  addForAddresses(text, plan.resolvers, "meta l4proto { tcp, udp } th dport 53 accept");
  if (!plan.tcpPorts.empty()) text += "    tcp dport " + portsText(plan.tcpPorts) + " accept\n";
  if (!plan.udpPorts.empty()) text += "    udp dport " + portsText(plan.udpPorts) + " accept\n";
  // No ping either: an echo holds 64 KiB of anything, and so does its answer. What the kernel itself has to
  // say by ICMP is nobody's.
  text += "    meta l4proto tcp reject with tcp reset\n";
  return text + "    reject with icmpx port-unreachable\n  }\n";
}

ProxyTarget targetOf(const ProxyAddress& proxy, int family) {
  char text[INET6_ADDRSTRLEN];
  inet_ntop(family, proxy.bytes.data(), text, sizeof text);
  const std::string address = text;
  // The unspecified address is how programs name this machine for IPv6.
  const bool isHere =
      family == AF_INET ? proxy.bytes[0] == 127 || address == "0.0.0.0" : address == "::" || address == "::1";
  return {isHere ? "" : address, proxy.port, proxy.port};
}

std::vector<IdRange> idsOf(std::uint32_t uid, const std::string& name, const std::string& subordinates) {
  std::vector<IdRange> ids = subordinateIds(subordinates, name, uid);
  ids.push_back({uid, uid});
  return mergedRanges(std::move(ids));
}

}  // namespace

std::vector<IdRange> mergedRanges(std::vector<IdRange> ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const IdRange& a, const IdRange& b) { return a.first < b.first; });
  std::vector<IdRange> merged;
  for (const IdRange& range : ranges) {
    // Neighbours become one range, too: nftables takes them for a conflict in some versions.
    if (!merged.empty() && range.first <= static_cast<std::uint64_t>(merged.back().last) + 1) {
      merged.back().last = std::max(merged.back().last, range.last);
    } else {
      merged.push_back(range);
    }
  }
  return merged;
}

FilterPlan planOf(const Configuration& configuration, const FilterState& state,
                  const Surroundings& surroundings) {
  FilterPlan plan;
  plan.proxyUid = configuration.proxyUid;
  plan.httpsFiltering = configuration.filterHttps || state.httpsFiltering;
  plan.tcpPorts = configuration.tcpPorts;
  plan.udpPorts = configuration.udpPorts;
  plan.closedLocalPorts = configuration.closedLocalPorts;
  plan.guardedLocalPorts = configuration.guardedLocalPorts;
  plan.dnsOverHttps = configuration.dnsOverHttps;
  plan.resolvers = configuration.resolvers.value_or(surroundings.resolvers);
  bool known = false;
  for (const ConfiguredUser& user : configuration.users) {
    known = known || user.uid == state.managedUser;
    if (surroundings.now < user.pausedUntil) continue;
    const ProxyTarget target{"", user.httpPort, user.httpsPort};
    plan.users.push_back({idsOf(user.uid, user.name, surroundings.subordinates), target, target});
  }
  if (state.managedUser && !known) {
    ManagedUser user;
    user.ids = idsOf(*state.managedUser, surroundings.nameOfManagedUser, surroundings.subordinates);
    if (state.ipv4Proxy) user.ipv4 = targetOf(*state.ipv4Proxy, AF_INET);
    if (state.ipv6Proxy) user.ipv6 = targetOf(*state.ipv6Proxy, AF_INET6);
    plan.users.push_back(std::move(user));
  }
  return plan;
}

std::string rulesetText(const FilterPlan& plan) {
  const std::string table = kTable;
  // Adding first: to delete what is not there would fail the whole transaction.
  std::string text = "add table " + table + "\ndelete table " + table + "\ntable " + table + " {\n";
  std::vector<IdRange> everybody;
  std::vector<std::uint16_t> proxyPorts = plan.closedLocalPorts;
  for (const ManagedUser& user : plan.users) {
    everybody.insert(everybody.end(), user.ids.begin(), user.ids.end());
    for (const auto& target : {user.ipv4, user.ipv6}) {
      if (!target || !target->address.empty()) continue;
      proxyPorts.push_back(target->httpPort);
      proxyPorts.push_back(target->httpsPort);
    }
  }
  text += "  chain to_proxy {\n    type nat hook output priority -100; policy accept;\n";
  if (!plan.users.empty()) {
    if (plan.proxyUid) text += "    meta skuid " + std::to_string(*plan.proxyUid) + " accept\n";
    text += "    fib daddr type local accept\n";
    for (const ManagedUser& user : plan.users) addTurns(text, user, plan.httpsFiltering);
  }
  text += "  }\n";
  if (!plan.users.empty()) text += refusals(plan, proxyPorts);
  text += "  chain refuse_detours {\n    type filter hook output priority 0; policy accept;\n";
  if (!plan.users.empty()) {
    if (plan.proxyUid) text += "    meta skuid " + std::to_string(*plan.proxyUid) + " accept\n";
    // Only whom the rule names: packets without an owner (the rest that a closed socket still sends, the
    // kernel's own) match no rule about owners, and must pass.
    text += "    meta skuid " + rangesText(mergedRanges(everybody)) + " jump refuse\n";
  }
  return text + "  }\n}\n";
}

}  // namespace sifterra::netfilterd
