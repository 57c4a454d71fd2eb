#include "ControlService.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace sifterra::netfilterd {
namespace {

using platform::ControlOperation;
using platform::ControlReply;
using platform::ControlRequest;

enum Option : std::uint32_t { kManagedUser = 1, kIPv4Proxy, kIPv6Proxy, kFilterHttps, kPrint };

std::optional<Peer> peerOf(int descriptor) {
  ucred credentials{};
  socklen_t length = sizeof credentials;
  if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return std::nullopt;
  Peer peer{credentials.pid, credentials.uid, {credentials.gid}};
  std::vector<gid_t> groups(64);
  for (;;) {
    length = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length) == 0) break;
    if (errno != ERANGE) return std::nullopt;
    groups.resize(length / sizeof(gid_t));
  }
  groups.resize(length / sizeof(gid_t));
  peer.groups.insert(peer.groups.end(), groups.begin(), groups.end());
  return peer;
}

}  // namespace

ControlService::ControlService(int listening, FilterState state, std::optional<gid_t> group, Actions actions)
    : _listening(listening), _state(state), _group(group), _actions(std::move(actions)) {}

ControlService::~ControlService() {
  for (const Connection& connection : _connections) close(connection.descriptor);
}

std::vector<int> ControlService::descriptors() const {
  std::vector<int> all = {_listening};
  for (const Connection& connection : _connections) all.push_back(connection.descriptor);
  return all;
}

void ControlService::ready(int descriptor) {
  if (descriptor == _listening) return accept();
  const auto found =
      std::find_if(_connections.begin(), _connections.end(),
                   [&](const Connection& connection) { return connection.descriptor == descriptor; });
  if (found == _connections.end() || serve(*found)) return;
  close(found->descriptor);
  _connections.erase(found);
}

void ControlService::accept() {
  const int descriptor = accept4(_listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) return;  // the peer is gone again, or descriptors are short: it tries again
  std::optional<Peer> peer = peerOf(descriptor);
  if (!peer) {
    close(descriptor);
    return;
  }
  // The one too many is told so by its answer, once; it does not stay.
  const bool admitted = hasRoomFor(peer->uid);
  if (!admitted) closeOldestRefused();
  _connections.push_back({descriptor, std::move(*peer), admitted});
  if (admitted) return;
  // Often its question is here already.
  if (!serve(_connections.back())) {
    close(descriptor);
    _connections.pop_back();
  }
}

bool ControlService::hasRoomFor(uid_t uid) const {
  std::size_t all = 0;
  std::size_t ofUser = 0;
  for (const Connection& connection : _connections) {
    if (!connection.admitted) continue;
    ++all;
    if (connection.peer.uid == uid) ++ofUser;
  }
  return all < kMostConnections && (uid == 0 || ofUser < kMostOfUser);
}

void ControlService::closeOldestRefused() {
  const auto isRefused = [](const Connection& connection) { return !connection.admitted; };
  if (static_cast<std::size_t>(std::count_if(_connections.begin(), _connections.end(), isRefused)) <
      kMostRefused) {
    return;
  }
  const auto oldest = std::find_if(_connections.begin(), _connections.end(), isRefused);
  close(oldest->descriptor);
  _connections.erase(oldest);
}

// False: the connection ends.
bool ControlService::serve(Connection& connection) {
  std::array<char, platform::kControlMostBytes + 1> buffer{};
  const ssize_t size = recv(connection.descriptor, buffer.data(), buffer.size(), 0);
  if (size < 0) return errno == EAGAIN || errno == EINTR;
  const auto request = ControlRequest::decoded({buffer.data(), static_cast<std::size_t>(size)});
  if (!request) return false;
  ControlReply reply;
  if (connection.admitted) {
    reply = answer(*request, connection.peer);
  } else {
    reply = {request->operation, request->sequence, EBUSY, {}};
  }
  const std::string packet = reply.encoded();
  // A peer that does not take its answers is none to wait for.
  const bool sent = send(connection.descriptor, packet.data(), packet.size(), MSG_NOSIGNAL) >= 0;
  return sent && connection.admitted;
}

bool ControlService::maySet(const Peer& peer) const {
  if (peer.uid == 0) return true;
  return _group && std::find(peer.groups.begin(), peer.groups.end(), *_group) != peer.groups.end();
}

ControlReply ControlService::answer(const ControlRequest& request, const Peer& peer) {
  ControlReply reply{request.operation, request.sequence, 0, {}};
  switch (request.operation) {
    case ControlOperation::Connect:
      reply.status = request.option == 0 ? 0 : ENOENT;  // there is one unit
      return reply;
    case ControlOperation::SetOption:
      reply.status = set(request.option, request.payload, peer);
      return reply;
    case ControlOperation::GetOption:
      break;
  }
  switch (request.option) {
    case kManagedUser:
      reply.payload = managedUserValue(_state);
      break;
    case kIPv4Proxy:
      reply.payload = ipv4ProxyValue(_state);
      break;
    case kIPv6Proxy:
      reply.payload = ipv6ProxyValue(_state);
      break;
    default:
      reply.status = ENOPROTOOPT;
      return reply;
  }
  if (reply.payload.size() > request.room) reply.payload.resize(request.room);
  return reply;
}

std::uint32_t ControlService::set(std::uint32_t option, std::string_view value, const Peer& peer) {
  if (option < kManagedUser || option > kPrint) return ENOPROTOOPT;
  if (!maySet(peer)) {
    // Every managed user's first page asks for option 4: no news.
    if (option != kFilterHttps) {
      _actions.log("user " + std::to_string(peer.uid) + " (process " + std::to_string(peer.pid) +
                   ") may not set option " + std::to_string(option));
    }
    return EPERM;
  }
  FilterState changed = _state;
  bool sensible = true;
  switch (option) {
    case kManagedUser:
      sensible = setManagedUser(changed, value);
      break;
    case kIPv4Proxy:
      sensible = setIPv4Proxy(changed, value);
      break;
    case kIPv6Proxy:
      sensible = setIPv6Proxy(changed, value);
      break;
    case kFilterHttps:
      sensible = value.empty();
      changed.httpsFiltering = true;
      break;
    default:
      sensible = value.empty();
      if (sensible) _actions.print();
      return sensible ? 0 : EINVAL;
  }
  if (!sensible) return EINVAL;
  if (changed == _state) return 0;
  if (const int error = _actions.change(changed); error != 0) return static_cast<std::uint32_t>(error);
  _state = changed;
  return 0;
}

}  // namespace sifterra::netfilterd
