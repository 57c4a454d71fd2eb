// Configuration: what the administrator decided, read from netfilterd.json.
//
//   {
//     "users": [{"name": "ann", "http-port": 3129, "https-port": 3130}],
//     "proxy-user": "sifterra-proxy",
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
  // Users of the file who have no account now: "users[1].name: there is no account \"ben\"". Whose number was
  // never known has no processes, and the others must not go unfiltered because of him; who had one keeps it.
  std::vector<std::string> unknown;
  std::string proxyUser = "sifterra-proxy";
  std::optional<std::uint32_t> proxyUid;  // none: there is no such account, and nothing to exempt
  bool filterHttps = true;
  // What managed users may reach besides web pages, at any host: nothing. Whatever is open carries a tunnel
  // to a server that waits for it there.
  std::vector<std::uint16_t> tcpPorts;
  std::vector<std::uint16_t> udpPorts;
  // Who may be asked for names; none: the machine's own resolvers.
  std::optional<std::vector<std::string>> resolvers;
  // Local ports that are not for managed users: ICAP, a proxy's plain port, and the ports at which the usual
  // proxies and relays listen that another account may run (SOCKS, I2P, Privoxy, Polipo, Tor).
  std::vector<std::uint16_t> closedLocalPorts = {1080, 1344, 3128, 4444, 8118, 8123,
                                                 8888, 9040, 9050, 9051, 9150};
  // Local ports at which no managed user may answer: where block pages send an administrator's password. The
  // ports of the proxy and the closed ones are guarded as well.
  std::vector<std::uint16_t> guardedLocalPorts = {10011};
  // Resolvers that answer names over HTTPS: refused while port 443 does not go by the proxy, which refuses
  // them by name.
  std::vector<std::string> dnsOverHttps;
};

// Account names and their numbers; replaced by tests.
class Accounts {
 public:
  virtual ~Accounts() = default;
  struct Number {
    std::optional<std::uint32_t> uid;
    std::string problem;  // why there is none now: there is no account "ben"
  };
  [[nodiscard]] virtual Number numberOf(const std::string& name) const = 0;
  [[nodiscard]] virtual std::optional<std::string> nameOf(std::uint32_t uid) const = 0;
};

// The accounts of the system.
class SystemAccounts final : public Accounts {
 public:
  [[nodiscard]] Number numberOf(const std::string& name) const override;
  [[nodiscard]] std::optional<std::string> nameOf(std::uint32_t uid) const override;
};

// The configuration in `text`, or nothing and in `problem` what is wrong with which key: "users[0].http-port:
// expected a port from 1 to 65535, found 0".
[[nodiscard]] std::optional<Configuration> configurationOf(std::string_view text, const Accounts& accounts,
                                                           std::string& problem);

// Address literals that ship as resolvers over HTTPS: the large public ones.
[[nodiscard]] const std::vector<std::string>& knownDnsOverHttps();

}  // namespace sifterra::netfilterd
