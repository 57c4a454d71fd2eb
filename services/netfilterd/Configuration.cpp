// Keys are read through Fields, which knows where it stands in the file and which keys nobody asked for.
#include "Configuration.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "common/accounts.h"
#include "resolvers.h"

namespace sifterra::netfilterd {
namespace {

using Json = nlohmann::json;

// The keys of one object, each asked for by name.
class Fields {
 public:
  Fields(const Json& object, std::string place, std::string& problem)
      : _object(object), _place(std::move(place)), _problem(problem) {
    if (!object.is_object()) fail("", "expected an object, found " + std::string(object.type_name()));
  }

  [[nodiscard]] bool good() const { return _problem.empty(); }

  const Json* find(const char* key) {
    _known.insert(key);
    if (!good()) return nullptr;
    const auto found = _object.find(key);
    return found == _object.end() ? nullptr : &*found;
  }

  void text(const char* key, std::string& value, bool needed) {
    const Json* found = find(key);
    if (found == nullptr) return missing(key, needed);
    if (!found->is_string() || found->get<std::string>().empty())
      return fail(key, "expected a text that is not empty, found " + found->dump());
    value = found->get<std::string>();
  }

  void yesNo(const char* key, bool& value) {
    const Json* found = find(key);
    if (found == nullptr) return;
    if (!found->is_boolean()) return fail(key, "expected true or false, found " + found->dump());
    value = found->get<bool>();
  }

  void port(const char* key, std::uint16_t& value) {
    const Json* found = find(key);
    if (found == nullptr) return missing(key, true);
    if (const auto number = portOf(*found)) {
      value = *number;
    } else {
      fail(key, "expected a port from 1 to 65535, found " + found->dump());
    }
  }

  void seconds(const char* key, std::int64_t& value) {
    const Json* found = find(key);
    if (found == nullptr) return;
    if (!found->is_number_integer() || found->get<std::int64_t>() < 0)
      return fail(key, "expected seconds since 1970, found " + found->dump());
    value = found->get<std::int64_t>();
  }

  void ports(const char* key, std::vector<std::uint16_t>& values) {
    const Json* found = list(key);
    if (found == nullptr) return;
    values.clear();
    for (std::size_t i = 0; i < found->size(); ++i) {
      if (const auto number = portOf((*found)[i])) {
        values.push_back(*number);
      } else {
        return fail(std::string(key) + '[' + std::to_string(i) + ']',
                    "expected a port from 1 to 65535, found " + (*found)[i].dump());
      }
    }
  }

  void addresses(const char* key, std::vector<std::string>& values) {
    const Json* found = list(key);
    if (found == nullptr) return;
    values.clear();
    for (std::size_t i = 0; i < found->size(); ++i) {
      const Json& item = (*found)[i];
      const std::string address = item.is_string() ? item.get<std::string>() : "";
      if (!isAddress(address)) {
        return fail(std::string(key) + '[' + std::to_string(i) + ']',
                    "expected an IPv4 or IPv6 address, found " + item.dump());
      }
      values.push_back(address);
    }
  }

  const Json* list(const char* key) {
    const Json* found = find(key);
    if (found == nullptr || found->is_array()) return found;
    fail(key, "expected a list, found " + found->dump());
    return nullptr;
  }

  // Keys that were not asked for are misspelt ones.
  void end() {
    if (!good()) return;
    for (const auto& [key, value] : _object.items()) {
      if (_known.count(key) == 0) return fail(key, "no such key");
    }
  }

  void fail(const std::string& key, const std::string& what) {
    if (!good()) return;
    const std::string dot = _place.empty() || key.empty() ? "" : ".";
    const std::string where = _place + dot + key;
    _problem = (where.empty() ? "the file" : where) + ": " + what;
  }

 private:
  void missing(const char* key, bool needed) {
    if (needed) fail(key, "is missing");
  }

  static std::optional<std::uint16_t> portOf(const Json& value) {
    if (!value.is_number_integer()) return std::nullopt;
    const auto number = value.get<std::int64_t>();
    if (number < 1 || number > std::numeric_limits<std::uint16_t>::max()) return std::nullopt;
    return static_cast<std::uint16_t>(number);
  }

  const Json& _object;
  std::string _place;
  std::string& _problem;
  std::set<std::string> _known;
};

void readUsers(const Json& list, const Accounts& accounts, Configuration& configuration,
               std::string& problem) {
  std::set<std::uint32_t> uids;
  std::set<std::string> names;
  std::map<std::uint16_t, std::string> ports;
  for (std::size_t i = 0; i < list.size() && problem.empty(); ++i) {
    Fields fields(list[i], "users[" + std::to_string(i) + ']', problem);
    ConfiguredUser user;
    fields.text("name", user.name, true);
    fields.port("http-port", user.httpPort);
    fields.port("https-port", user.httpsPort);
    fields.seconds("paused-until", user.pausedUntil);
    fields.end();
    if (!problem.empty()) return;
    const auto [uid, doubt] = accounts.numberOf(user.name);
    if (!doubt.empty()) {
      configuration.unknown.push_back(
          "users[" + std::to_string(i) + "].name: " + doubt +
          (uid ? "; its last number, " + std::to_string(*uid) + ", stays filtered" : ""));
    }
    if (uid == 0u) return fields.fail("name", "root cannot be managed");
    if (uid && uid == configuration.proxyUid)
      return fields.fail("name", "the proxy's account cannot be managed");
    if (!names.insert(user.name).second || (uid && !uids.insert(*uid).second))
      return fields.fail("name", '"' + user.name + "\" is listed twice");
    for (const std::uint16_t port : {user.httpPort, user.httpsPort}) {
      const auto [other, isNew] = ports.emplace(port, user.name);
      // By its port the proxy tells whose connection it is.
      if (!isNew) {
        return fields.fail(
            "", "port " + std::to_string(port) + " is used twice, here and for \"" + other->second + '"');
      }
    }
    if (!uid) continue;
    user.uid = *uid;
    configuration.users.push_back(std::move(user));
  }
}

}  // namespace

Accounts::Number SystemAccounts::numberOf(const std::string& name) const {
  std::string problem;
  const auto account = services::accountNamed(name, problem);
  if (account) return {account->uid, ""};
  if (problem.empty()) return {std::nullopt, "there is no account \"" + name + '"'};
  return {std::nullopt, "the account \"" + name + "\" cannot be looked up: " + problem};
}

std::optional<std::string> SystemAccounts::nameOf(std::uint32_t uid) const {
  std::string ignored;
  const auto account = services::accountOf(uid, ignored);
  return account ? std::optional(account->name) : std::nullopt;
}

std::optional<Configuration> configurationOf(std::string_view text, const Accounts& accounts,
                                             std::string& problem) {
  problem.clear();
  Json json;
  try {
    json = Json::parse(text);
  } catch (const Json::exception& error) {  // also a number that is too large
    problem = std::string("not JSON: ") + error.what();
    return std::nullopt;
  }
  Configuration configuration;
  configuration.dnsOverHttps = knownDnsOverHttps();
  Fields fields(json, "", problem);
  fields.text("proxy-user", configuration.proxyUser, false);
  fields.yesNo("filter-https", configuration.filterHttps);
  fields.ports("tcp-ports", configuration.tcpPorts);
  fields.ports("udp-ports", configuration.udpPorts);
  fields.ports("closed-local-ports", configuration.closedLocalPorts);
  fields.ports("guarded-local-ports", configuration.guardedLocalPorts);
  fields.addresses("dns-over-https", configuration.dnsOverHttps);
  std::vector<std::string> resolvers;
  fields.addresses("resolvers", resolvers);
  if (json.is_object() && json.contains("resolvers")) configuration.resolvers = std::move(resolvers);
  const Json* users = fields.list("users");
  fields.end();
  for (const char* key : {"tcp-ports", "udp-ports"}) {
    const auto& ports = key[0] == 't' ? configuration.tcpPorts : configuration.udpPorts;
    for (const std::uint16_t port : ports) {
      if (port == 80 || port == 443 || port == 853)
        fields.fail(key, "port " + std::to_string(port) + " is a way around the filter and cannot be opened");
    }
  }
  if (!problem.empty()) return std::nullopt;
  configuration.proxyUid = accounts.numberOf(configuration.proxyUser).uid;
  if (users != nullptr) readUsers(*users, accounts, configuration, problem);
  if (!problem.empty()) return std::nullopt;
  return configuration;
}

const std::vector<std::string>& knownDnsOverHttps() {
  // Addresses that their operators publish for DNS over HTTPS.
  static const std::vector<std::string> addresses = {"1.1.1.1",
                                                     "1.0.0.1",
                                                     "1.1.1.2",
                                                     "1.0.0.2",
                                                     "1.1.1.3",
                                                     "1.0.0.3",
                                                     "8.8.8.8",
                                                     "8.8.4.4",
                                                     "9.9.9.9",
                                                     "149.112.112.112",
                                                     "9.9.9.10",
                                                     "149.112.112.10",
                                                     "94.140.14.14",
                                                     "94.140.15.15",
                                                     "94.140.14.140",
                                                     "94.140.14.141",
                                                     "208.67.222.222",
                                                     "208.67.220.220",
                                                     "185.228.168.168",
                                                     "185.228.169.168",
                                                     "2606:4700:4700::1111",
                                                     "2606:4700:4700::1001",
                                                     "2001:4860:4860::8888",
                                                     "2001:4860:4860::8844",
                                                     "2620:fe::fe",
                                                     "2620:fe::9",
                                                     "2a10:50c0::ad1:ff",
                                                     "2a10:50c0::ad2:ff"};
  return addresses;
}

}  // namespace sifterra::netfilterd
