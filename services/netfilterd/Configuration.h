// Configuration: what the administrator decided, read from netfilterd.json.
//
//   {
//     "users": [{"name": "ann", "http-port": 3129, "https-port": 3130}],
//     "proxy-user": "proxy",
//     "filter-https": true
//   }
//
// Every key has a default but a user's name and ports. A user may have "paused-until", in seconds since 1970:
// he is not filtered before then. A file that is not understood to the last key is refused as a whole: half a
// policy would leave somebody unfiltered whom the administrator believes to be filtered.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::netfilterd {

// A managed user of the configuration, with the ports at which the proxy waits for his connections.
struct ConfiguredUser {
  std::string name;
  std::uint32_t uid = 0;
  std::uint16_t httpPort = 0;
  std::uint16_t httpsPort = 0;
  std::int64_t pausedUntil = 0;  // seconds since 1970; not filtered before
  friend bool operator==(const ConfiguredUser&, const ConfiguredUser&) = default;
};

struct Configuration {
  std::vector<ConfiguredUser> users;
  // Users of the file who have no account (yet): "users[1].name: there is no account \"ben\"". They have no
  // processes, and the others must not go unfiltered because of them.
  std::vector<std::string> unknown;
  std::string proxyUser = "proxy";
  std::optional<std::uint32_t> proxyUid;  // none: there is no such account, and nothing to exempt
  bool filterHttps = true;
  // What managed users may reach besides web pages. Names, time and mail: without any of them a machine is no
  // use, and none carries web pages by itself.
  std::vector<std::uint16_t> tcpPorts = {53, 465, 587, 993, 995};
  std::vector<std::uint16_t> udpPorts = {53, 123};
  // Local ports that are not for managed users: the proxy's plain port, ICAP.
  std::vector<std::uint16_t> closedLocalPorts = {1344, 3128};
  // Resolvers that answer names over HTTPS: refused while port 443 does not go by the proxy, which refuses
  // them by name.
  std::vector<std::string> dnsOverHttps;
};

// Account names and their numbers; replaced by tests.
class Accounts {
 public:
  virtual ~Accounts() = default;
  [[nodiscard]] virtual std::optional<std::uint32_t> uidOf(const std::string& name) const = 0;
};

// The accounts of the system (getpwnam_r).
class SystemAccounts final : public Accounts {
 public:
  [[nodiscard]] std::optional<std::uint32_t> uidOf(const std::string& name) const override;
};

// The configuration in `text`, or nothing and in `problem` what is wrong with which key: "users[0].http-port:
// expected a port from 1 to 65535, found 0".
[[nodiscard]] std::optional<Configuration> configurationOf(std::string_view text, const Accounts& accounts,
                                                           std::string& problem);

// Address literals that ship as resolvers over HTTPS: the large public ones.
[[nodiscard]] const std::vector<std::string>& knownDnsOverHttps();

}  // namespace sifterra::netfilterd
