#include "IpAddress.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <functional>

namespace sifterra::icap {
namespace {

constexpr std::array<std::uint8_t, 12> kIPv4Prefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

}  // namespace

std::optional<IpAddress> IpAddress::parse(std::string_view text) {
  if (text.empty() || text.size() > INET6_ADDRSTRLEN || text.find('\0') != std::string_view::npos)
    return std::nullopt;
  const std::string terminated(text);
  IpAddress address;
  if (inet_pton(AF_INET6, terminated.c_str(), address.bytes.data()) == 1) return address;
  std::copy(kIPv4Prefix.begin(), kIPv4Prefix.end(), address.bytes.begin());
  if (inet_pton(AF_INET, terminated.c_str(), address.bytes.data() + kIPv4Prefix.size()) == 1) return address;
  return std::nullopt;
}

IpAddress IpAddress::masked(unsigned prefix) const {
  IpAddress network;
  const unsigned whole = prefix / 8;
  std::copy_n(bytes.begin(), whole, network.bytes.begin());
  if (prefix % 8 != 0)
    network.bytes[whole] = static_cast<std::uint8_t>(bytes[whole] & (0xFF00 >> prefix % 8));
  return network;
}

bool IpAddress::isIPv4() const {
  return std::equal(kIPv4Prefix.begin(), kIPv4Prefix.end(), bytes.begin());
}

std::string IpAddress::text() const {
  char buffer[INET6_ADDRSTRLEN] = "";
  if (isIPv4())
    inet_ntop(AF_INET, bytes.data() + kIPv4Prefix.size(), buffer, sizeof buffer);
  else
    inet_ntop(AF_INET6, bytes.data(), buffer, sizeof buffer);
  return buffer;
}

std::size_t IpAddressHash::operator()(const IpAddress& address) const noexcept {
  return std::hash<std::string_view>()(
      {reinterpret_cast<const char*>(address.bytes.data()), address.bytes.size()});
}

}  // namespace sifterra::icap
