// Address records carry the control protocol's own family numbers (2 and 30), not Linux's.
#include "FilterState.h"

#include <arpa/inet.h>

#include <cstring>
#include <nlohmann/json.hpp>

namespace sifterra::netfilterd {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kIPv4Bytes = 16;
constexpr std::size_t kIPv6Bytes = 28;
constexpr char kIPv4Family = 2;
constexpr char kIPv6Family = 30;
constexpr std::size_t kIPv4AddressAt = 4;
constexpr std::size_t kIPv6AddressAt = 8;
constexpr std::uint32_t kNoUser = 0xffffffff;

std::uint16_t portAt(std::string_view value) {
  return static_cast<std::uint16_t>((static_cast<std::uint8_t>(value[2]) << 8) |
                                    static_cast<std::uint8_t>(value[3]));
}

bool readAddress(std::string_view value, std::size_t bytes, char family, std::size_t at, std::size_t length,
                 std::optional<ProxyAddress>& proxy) {
  if (value.size() != bytes || static_cast<std::size_t>(value[0]) != bytes || value[1] != family)
    return false;
  ProxyAddress address;
  address.port = portAt(value);
  if (address.port == 0) return false;
  std::memcpy(address.bytes.data(), value.data() + at, length);
  proxy = address;
  return true;
}

// A proxy that was never set reads as zeros.
std::string addressValue(const std::optional<ProxyAddress>& proxy, std::size_t bytes, char family,
                         std::size_t at, std::size_t length) {
  std::string value(bytes, '\0');
  value[0] = static_cast<char>(bytes);
  value[1] = family;
  if (!proxy) return value;
  value[2] = static_cast<char>(proxy->port >> 8);
  value[3] = static_cast<char>(proxy->port & 0xff);
  std::memcpy(value.data() + at, proxy->bytes.data(), length);
  return value;
}

Json jsonOf(const std::optional<ProxyAddress>& proxy, int family) {
  if (!proxy) return nullptr;
  char text[INET6_ADDRSTRLEN];
  inet_ntop(family, proxy->bytes.data(), text, sizeof text);
  return {{"address", text}, {"port", proxy->port}};
}

bool readProxy(const Json& json, int family, std::optional<ProxyAddress>& proxy) {
  if (json.is_null()) return true;
  if (!json.is_object() || !json.contains("address") || !json["address"].is_string() ||
      !json.contains("port") || !json["port"].is_number_unsigned()) {
    return false;
  }
  ProxyAddress address;
  const auto port = json["port"].get<std::uint64_t>();
  if (port == 0 || port > 0xffff ||
      inet_pton(family, json["address"].get<std::string>().c_str(), address.bytes.data()) != 1) {
    return false;
  }
  address.port = static_cast<std::uint16_t>(port);
  proxy = address;
  return true;
}

}  // namespace

std::string stateText(const FilterState& state) {
  Json json;
  json["managed-user"] = state.managedUser ? Json(*state.managedUser) : Json(nullptr);
  json["ipv4-proxy"] = jsonOf(state.ipv4Proxy, AF_INET);
  json["ipv6-proxy"] = jsonOf(state.ipv6Proxy, AF_INET6);
  json["https-filtering"] = state.httpsFiltering;
  return json.dump(2) + '\n';
}

std::optional<FilterState> stateOf(std::string_view text, std::string& problem) {
  const Json json = Json::parse(text, nullptr, false);
  if (!json.is_object()) {
    problem = "expected a JSON object";
    return std::nullopt;
  }
  const auto at = [&](const char* key) { return json.contains(key) ? json[key] : Json(nullptr); };
  FilterState state;
  const Json user = at("managed-user");
  if (user.is_number_unsigned() && user.get<std::uint64_t>() > 0 && user.get<std::uint64_t>() < kNoUser) {
    state.managedUser = static_cast<std::uint32_t>(user.get<std::uint64_t>());
  } else if (!user.is_null()) {
    problem = "managed-user: expected a user number or null, found " + user.dump();
    return std::nullopt;
  }
  if (!readProxy(at("ipv4-proxy"), AF_INET, state.ipv4Proxy)) {
    problem = "ipv4-proxy: expected an IPv4 address with a port or null, found " + at("ipv4-proxy").dump();
    return std::nullopt;
  }
  if (!readProxy(at("ipv6-proxy"), AF_INET6, state.ipv6Proxy)) {
    problem = "ipv6-proxy: expected an IPv6 address with a port or null, found " + at("ipv6-proxy").dump();
    return std::nullopt;
  }
  const Json https = at("https-filtering");
  if (!https.is_boolean()) {
    problem = "https-filtering: expected true or false, found " + https.dump();
    return std::nullopt;
  }
  state.httpsFiltering = https.get<bool>();
  return state;
}

bool setManagedUser(FilterState& state, std::string_view value) {
  std::uint32_t uid = 0;
  if (value.size() != sizeof uid) return false;
  std::memcpy(&uid, value.data(), sizeof uid);
  if (uid == kNoUser) return false;
  state.managedUser = uid == 0 ? std::nullopt : std::optional(uid);
  return true;
}

bool setIPv4Proxy(FilterState& state, std::string_view value) {
  return readAddress(value, kIPv4Bytes, kIPv4Family, kIPv4AddressAt, 4, state.ipv4Proxy);
}

bool setIPv6Proxy(FilterState& state, std::string_view value) {
  return readAddress(value, kIPv6Bytes, kIPv6Family, kIPv6AddressAt, 16, state.ipv6Proxy);
}

std::string managedUserValue(const FilterState& state) {
  const std::uint32_t uid = state.managedUser.value_or(0);
  std::string value(sizeof uid, '\0');
  std::memcpy(value.data(), &uid, sizeof uid);
  return value;
}

std::string ipv4ProxyValue(const FilterState& state) {
  return addressValue(state.ipv4Proxy, kIPv4Bytes, kIPv4Family, kIPv4AddressAt, 4);
}

std::string ipv6ProxyValue(const FilterState& state) {
  return addressValue(state.ipv6Proxy, kIPv6Bytes, kIPv6Family, kIPv6AddressAt, 16);
}

}  // namespace sifterra::netfilterd
