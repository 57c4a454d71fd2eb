// ServiceKernelControl: the kernel-control calls over a Unix socket.
//
// The limit holds for each call as a whole, however many packets and signals arrive meanwhile: before every
// wait the socket is told how much of it is left.
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "platform/FileSystem.h"
#include "platform/KernelControl.h"
#include "sifterra/platform/ControlMessage.h"

namespace sifterra::platform {

namespace {

using Clock = std::chrono::steady_clock;

int failed(int error) noexcept {
  errno = error;
  return -1;
}

// Runs a call that may need memory; without any, it fails as calls do.
template <class Call>
int withoutExceptions(const Call& call) noexcept {
  try {
    return call();
  } catch (...) {
    return failed(ENOMEM);
  }
}

// One call's time with the service.
class Exchange {
 public:
  Exchange(int descriptor, std::chrono::milliseconds limit)
      : descriptor_(descriptor), until_(Clock::now() + limit) {}

  int connect(const sockaddr_un& address) {
    return repeated(SO_SNDTIMEO, [&] {
      return ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    });
  }

  // 0 with the reply, or -1. Replies to earlier calls, which nobody waited for any more, are passed over.
  int ask(const ControlRequest& request, ControlReply& reply) {
    const std::string packet = request.encoded();
    if (packet.empty()) return failed(EMSGSIZE);
    if (repeated(SO_SNDTIMEO,
                 [&] { return ::send(descriptor_, packet.data(), packet.size(), MSG_NOSIGNAL); }) < 0)
      return -1;
    do {
      std::optional<ControlReply> next = receive();
      if (!next) return -1;
      reply = std::move(*next);
    } while (reply.sequence != request.sequence);
    if (reply.operation != request.operation || reply.payload.size() > request.room) return failed(EPROTO);
    if (reply.status != 0) return failed(static_cast<int>(std::min<std::uint32_t>(reply.status, 4095)));
    return 0;
  }

 private:
  // The call until no signal interrupts it, for as long as there is time.
  template <class Call>
  int repeated(int timeout, const Call& call) {
    for (;;) {
      if (!allowWaiting(timeout)) return -1;
      const auto result = call();
      if (result >= 0) return static_cast<int>(result);
      if (errno == EAGAIN) return failed(ETIMEDOUT);
      if (errno != EINTR) return -1;
    }
  }

  bool allowWaiting(int timeout) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(until_ - Clock::now()).count();
    if (left <= 0) {
      errno = ETIMEDOUT;
      return false;
    }
    timeval time{};  // all zero would mean for ever
    time.tv_sec = left / 1000000;
    time.tv_usec = left % 1000000;
    return ::setsockopt(descriptor_, SOL_SOCKET, timeout, &time, sizeof time) == 0;
  }

  std::optional<ControlReply> receive() {
    std::array<char, kControlMostBytes + 1> packet;  // one more: a longer packet is seen to be one
    const int size =
        repeated(SO_RCVTIMEO, [&] { return ::recv(descriptor_, packet.data(), packet.size(), 0); });
    if (size < 0) return std::nullopt;
    std::optional<ControlReply> reply;
    if (size > 0) reply = ControlReply::decoded({packet.data(), static_cast<std::size_t>(size)});
    if (!reply) errno = size == 0 ? ECONNRESET : EPROTO;
    return reply;
  }

  int descriptor_;
  Clock::time_point until_;
};

// The socket that has the control's name.
bool addressOf(const ControlInfo& info, sockaddr_un& address) {
  const std::string name(info.name, ::strnlen(info.name, sizeof info.name));
  const std::string path = systemPath(std::string(ServiceKernelControl::kDirectory) + name);
  if (!isFileName(name)) {
    errno = ENOENT;
    return false;
  }
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, path.size());
  return true;
}

}  // namespace

int ServiceKernelControl::socket(int family, int type, int protocol) noexcept {
  if (family != kSystemFamily) return failed(EAFNOSUPPORT);
  if (type != kDatagram || protocol != kControlProtocol) return failed(EPROTONOSUPPORT);
  return ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
}

int ServiceKernelControl::ioctl(int descriptor, unsigned long request, void* argument) noexcept {
  if (request != kControlInfoRequest) return failed(ENOTTY);
  if (!argument) return failed(EFAULT);
  return withoutExceptions([&] {
    auto* const info = static_cast<ControlInfo*>(argument);
    sockaddr_un address{};
    if (!addressOf(*info, address) || Exchange(descriptor, limit_).connect(address) != 0) return -1;
    info->identifier = kIdentifier;
    return 0;
  });
}

int ServiceKernelControl::connect(int descriptor, const void* address, std::uint32_t length) noexcept {
  ControlAddress control{};
  if (!address || length != sizeof control) return failed(EINVAL);
  std::memcpy(&control, address, sizeof control);
  if (control.family != kSystemFamily || control.systemAddress != kSystemAddressControl)
    return failed(EAFNOSUPPORT);
  if (control.identifier != kIdentifier) return failed(ENOENT);
  return withoutExceptions([&] {
    ControlReply reply;
    return Exchange(descriptor, limit_)
        .ask({ControlOperation::Connect, ++sequence_, control.unit, 0, {}}, reply);
  });
}

int ServiceKernelControl::setsockopt(int descriptor, int level, int option, const void* value,
                                     std::uint32_t length) noexcept {
  if (level != kControlProtocol) return failed(ENOPROTOOPT);
  if (!value && length != 0) return failed(EFAULT);
  if (length > kControlMostPayload) return failed(EMSGSIZE);
  return withoutExceptions([&] {
    ControlReply reply;
    const std::string payload(static_cast<const char*>(value), length);
    return Exchange(descriptor, limit_)
        .ask({ControlOperation::SetOption, ++sequence_, static_cast<std::uint32_t>(option), 0, payload},
             reply);
  });
}

int ServiceKernelControl::getsockopt(int descriptor, int level, int option, void* value,
                                     std::uint32_t* length) noexcept {
  if (level != kControlProtocol) return failed(ENOPROTOOPT);
  if (!value || !length) return failed(EFAULT);
  return withoutExceptions([&] {
    ControlReply reply;
    const auto room = std::min<std::uint32_t>(*length, kControlMostPayload);
    if (Exchange(descriptor, limit_)
            .ask({ControlOperation::GetOption, ++sequence_, static_cast<std::uint32_t>(option), room, {}},
                 reply) != 0)
      return -1;
    reply.payload.copy(static_cast<char*>(value), reply.payload.size());
    *length = static_cast<std::uint32_t>(reply.payload.size());
    return 0;
  });
}

int ServiceKernelControl::close(int descriptor) noexcept {
  return ::close(descriptor);
}

}  // namespace sifterra::platform
