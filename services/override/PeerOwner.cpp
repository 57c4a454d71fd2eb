#include "PeerOwner.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "common/accounts.h"

namespace sifterra::override_service {
namespace {

struct Request {
  nlmsghdr header;
  inet_diag_req_v2 body;
};

bool fillEnd(const sockaddr_storage& address, std::uint8_t family, std::uint16_t& port,
             std::uint32_t* words) {
  if (address.ss_family != family) return false;
  if (family == AF_INET) {
    const auto& end = reinterpret_cast<const sockaddr_in&>(address);
    port = end.sin_port;
    std::memcpy(words, &end.sin_addr, sizeof end.sin_addr);
  } else if (family == AF_INET6) {
    const auto& end = reinterpret_cast<const sockaddr_in6&>(address);
    port = end.sin6_port;
    std::memcpy(words, &end.sin6_addr, sizeof end.sin6_addr);
  } else {
    return false;
  }
  return true;
}

// The answer names the very socket that was asked for, with its owner.
std::optional<std::uint32_t> ownerIn(const char* bytes, std::size_t size, const inet_diag_sockid& asked) {
  if (size < sizeof(nlmsghdr)) return std::nullopt;
  nlmsghdr header{};
  std::memcpy(&header, bytes, sizeof header);
  if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || size < NLMSG_LENGTH(sizeof(inet_diag_msg)))
    return std::nullopt;
  inet_diag_msg message{};
  std::memcpy(&message, bytes + NLMSG_HDRLEN, sizeof message);
  if (message.id.idiag_sport != asked.idiag_sport || message.id.idiag_dport != asked.idiag_dport ||
      message.idiag_state == TCP_LISTEN || message.idiag_state == TCP_TIME_WAIT) {
    return std::nullopt;
  }
  return message.idiag_uid;
}

}  // namespace

std::optional<std::uint32_t> ownerOfConnection(const sockaddr_storage& client,
                                               const sockaddr_storage& server) {
  Request request{};
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.body.sdiag_family = static_cast<std::uint8_t>(client.ss_family);
  request.body.sdiag_protocol = IPPROTO_TCP;
  request.body.idiag_states = ~0u;
  inet_diag_sockid& id = request.body.id;
  id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
  id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  // Seen from the client: it is his socket that we ask for.
  if (!fillEnd(client, request.body.sdiag_family, id.idiag_sport, id.idiag_src) ||
      !fillEnd(server, request.body.sdiag_family, id.idiag_dport, id.idiag_dst)) {
    return std::nullopt;
  }
  const int descriptor = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (descriptor < 0) return std::nullopt;
  timeval limit{2, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::array<char, 8192> buffer{};
  ssize_t size = -1;
  if (send(descriptor, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request)) {
    size = recv(descriptor, buffer.data(), buffer.size(), 0);
  }
  close(descriptor);
  return size < 0 ? std::nullopt : ownerIn(buffer.data(), static_cast<std::size_t>(size), id);
}

std::optional<std::string> accountName(std::uint32_t uid) {
  std::string ignored;
  const auto account = services::accountOf(uid, ignored);
  return account ? std::optional(account->name) : std::nullopt;
}

std::optional<std::uint32_t> accountNumber(const std::string& name) {
  std::string ignored;
  const auto account = services::accountNamed(name, ignored);
  return account ? std::optional(account->uid) : std::nullopt;
}

}  // namespace sifterra::override_service
