// KernelControl: the calls by which a program reaches the web-content filter's control, as the system has
// them.
//
//   KernelControl& control = KernelControl::current();
//   const int descriptor = control.socket(kSystemFamily, kDatagram, kControlProtocol);
//
// A host with the kernel-control family takes them as they are (SystemKernelControl). On Linux they travel to
// a service in user space (ServiceKernelControl): looking the control up connects to the Unix socket that has
// its name, connecting asks the service for admission, and each option call is one message and its reply.
//
// Each answers as its namesake of the C library does: -1 with errno on failure.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string_view>

namespace sifterra::platform {

class KernelControl {
 public:
  KernelControl() = default;
  KernelControl(const KernelControl&) = delete;
  KernelControl& operator=(const KernelControl&) = delete;
  virtual ~KernelControl() = default;

  virtual int socket(int family, int type, int protocol) noexcept = 0;
  virtual int ioctl(int descriptor, unsigned long request, void* argument) noexcept = 0;
  virtual int connect(int descriptor, const void* address, std::uint32_t length) noexcept = 0;
  virtual int setsockopt(int descriptor, int level, int option, const void* value,
                         std::uint32_t length) noexcept = 0;
  virtual int getsockopt(int descriptor, int level, int option, void* value,
                         std::uint32_t* length) noexcept = 0;
  virtual int close(int descriptor) noexcept = 0;

  // The one of the process. Thread safe.
  [[nodiscard]] static KernelControl& current();
  // For tests: replaces it; null restores the host's own. The given one must outlive its use.
  static void setCurrentForTesting(KernelControl* control) noexcept;
};

// ---- The kernel-control interface, whatever the host calls it

inline constexpr int kSystemFamily = 32;
inline constexpr int kDatagram = 2;
inline constexpr int kControlProtocol = 2;  // also the level of the option calls
inline constexpr unsigned long kControlInfoRequest = 0xc0644e03;
inline constexpr std::uint16_t kSystemAddressControl = 2;

// What the look-up fills in.
struct ControlInfo {
  std::uint32_t identifier;
  char name[96];  // padded with zeros
};
static_assert(sizeof(ControlInfo) == 100);

struct ControlAddress {
  std::uint8_t length;
  std::uint8_t family;
  std::uint16_t systemAddress;
  std::uint32_t identifier;
  std::uint32_t unit;
  std::uint32_t reserved[5];
};
static_assert(sizeof(ControlAddress) == 32);

// ---- Implementations

// The system's own calls.
class SystemKernelControl final : public KernelControl {
 public:
  int socket(int family, int type, int protocol) noexcept override;
  int ioctl(int descriptor, unsigned long request, void* argument) noexcept override;
  int connect(int descriptor, const void* address, std::uint32_t length) noexcept override;
  int setsockopt(int descriptor, int level, int option, const void* value,
                 std::uint32_t length) noexcept override;
  int getsockopt(int descriptor, int level, int option, void* value, std::uint32_t* length) noexcept override;
  int close(int descriptor) noexcept override;
};

// A service behind "/run/sifterra/NAME" below the root prefix. Who asks, the service reads from the socket.
// No step waits longer than `limit` for it (ETIMEDOUT).
class ServiceKernelControl final : public KernelControl {
 public:
  static constexpr std::string_view kDirectory = "/run/sifterra/";
  static constexpr std::chrono::milliseconds kLimit{2000};
  static constexpr std::uint32_t kIdentifier = 1;  // of whatever control was found

  explicit ServiceKernelControl(std::chrono::milliseconds limit = kLimit) noexcept : limit_(limit) {}

  int socket(int family, int type, int protocol) noexcept override;
  int ioctl(int descriptor, unsigned long request, void* argument) noexcept override;
  int connect(int descriptor, const void* address, std::uint32_t length) noexcept override;
  int setsockopt(int descriptor, int level, int option, const void* value,
                 std::uint32_t length) noexcept override;
  int getsockopt(int descriptor, int level, int option, void* value, std::uint32_t* length) noexcept override;
  int close(int descriptor) noexcept override;

 private:
  const std::chrono::milliseconds limit_;
  std::atomic<std::uint32_t> sequence_{0};
};

}  // namespace sifterra::platform
