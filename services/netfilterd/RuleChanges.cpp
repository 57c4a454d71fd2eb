#include "RuleChanges.h"

#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace sifterra::netfilterd {

RuleChanges::RuleChanges()
    : _descriptor(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_NETFILTER)) {
  if (_descriptor < 0) return;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = 1u << (NFNLGRP_NFTABLES - 1);
  if (bind(_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return;
  close(_descriptor);
  _descriptor = -1;
}

RuleChanges::~RuleChanges() {
  if (_descriptor >= 0) close(_descriptor);
}

void RuleChanges::drain() const {
  std::array<char, 8192> buffer{};
  while (recv(_descriptor, buffer.data(), buffer.size(), 0) > 0 || errno == ENOBUFS) errno = 0;
}

}  // namespace sifterra::netfilterd
