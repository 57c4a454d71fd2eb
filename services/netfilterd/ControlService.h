// ControlService: the filter's side of the control socket.
//
// Speaks docs/kernel-control.md: one packet one message, `Connect` first, then options. Who may set something
// is asked of the kernel, never of the peer. One thread; the owner polls descriptors() and hands over what is
// ready.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FilterState.h"
#include "sifterra/platform/ControlMessage.h"

namespace sifterra::netfilterd {

// What the kernel says of the other end.
struct Peer {
  pid_t pid = 0;
  uid_t uid = 0;
  std::vector<gid_t> groups;  // all of them, the first one is the primary
};

class ControlService {
 public:
  struct Actions {
    // Takes a changed state over: keeps it and brings the rules in line. 0, or an error number of Linux; then
    // the state stays as it was.
    std::function<int(const FilterState&)> change;
    // Writes the state down for whoever reads the log.
    std::function<void()> print;
    // One line for the log.
    std::function<void(const std::string&)> log;
  };

  // More connections are refused with EBUSY: programs leave theirs open as long as they live. One user alone
  // cannot use them up, for root and the others have something to say as well.
  static constexpr std::size_t kMostConnections = 256;
  static constexpr std::size_t kMostOfUser = 64;
  // So many of the refused wait for their answer at a time; the oldest is closed without one.
  static constexpr std::size_t kMostRefused = 16;

  // `listening` is a listening SOCK_SEQPACKET socket, which the caller keeps. Members of `group` may set
  // options, as root may; none: root alone.
  ControlService(int listening, FilterState state, std::optional<gid_t> group, Actions actions);
  ~ControlService();
  ControlService(const ControlService&) = delete;
  ControlService& operator=(const ControlService&) = delete;

  [[nodiscard]] const FilterState& state() const noexcept { return _state; }
  // Everything to wait for.
  [[nodiscard]] std::vector<int> descriptors() const;
  // Serves what became readable.
  void ready(int descriptor);

  // The reply to a request of a peer; what ready() does with each packet.
  [[nodiscard]] platform::ControlReply answer(const platform::ControlRequest& request, const Peer& peer);

 private:
  struct Connection {
    int descriptor;
    Peer peer;
    bool admitted;
  };
  void accept();
  [[nodiscard]] bool hasRoomFor(uid_t uid) const;
  void closeOldestRefused();
  [[nodiscard]] bool serve(Connection& connection);
  [[nodiscard]] bool maySet(const Peer& peer) const;
  [[nodiscard]] std::uint32_t set(std::uint32_t option, std::string_view value, const Peer& peer);

  int _listening;
  FilterState _state;
  std::optional<gid_t> _group;
  Actions _actions;
  std::list<Connection> _connections;
};

}  // namespace sifterra::netfilterd
