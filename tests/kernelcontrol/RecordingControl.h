// RecordingControl: a KernelControl that writes down each call and answers as it is told.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "platform/KernelControl.h"

namespace sifterra {

inline std::string hex(const void* bytes, std::size_t count) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned value = static_cast<const unsigned char*>(bytes)[i];
    text += kDigits[value / 16];
    text += kDigits[value % 16];
  }
  return text;
}

class RecordingControl final : public platform::KernelControl {
 public:
  RecordingControl() { setCurrentForTesting(this); }
  ~RecordingControl() override { setCurrentForTesting(nullptr); }

  // The error of each call; 0 lets it succeed.
  int socketError = 0;
  int ioctlError = 0;
  int connectError = 0;
  int optionResult = 0;  // what the option calls return; errno stays what it was
  std::uint32_t identifier = 0x2a;
  std::string optionValue;  // what getsockopt stores, also when it fails

  std::vector<std::string> calls;
  std::set<int> open;

  int socket(int family, int type, int protocol) noexcept override {
    note("socket " + std::to_string(family) + " " + std::to_string(type) + " " + std::to_string(protocol));
    if (socketError != 0) return failed(socketError);
    open.insert(next_);
    return next_++;
  }
  int ioctl(int descriptor, unsigned long request, void* argument) noexcept override {
    auto* const info = static_cast<platform::ControlInfo*>(argument);
    note("ioctl " + std::to_string(descriptor) + " " + std::to_string(request) + " " +
         hex(info, sizeof *info));
    if (ioctlError != 0) return failed(ioctlError);
    info->identifier = identifier;
    return 0;
  }
  int connect(int descriptor, const void* address, std::uint32_t length) noexcept override {
    note("connect " + std::to_string(descriptor) + " " + hex(address, length));
    return connectError != 0 ? failed(connectError) : 0;
  }
  int setsockopt(int descriptor, int level, int option, const void* value,
                 std::uint32_t length) noexcept override {
    note("setsockopt " + std::to_string(descriptor) + " " + std::to_string(level) + " " +
         std::to_string(option) + " " + (value ? hex(value, length) : "null") + " " + std::to_string(length));
    return optionResult;
  }
  int getsockopt(int descriptor, int level, int option, void* value,
                 std::uint32_t* length) noexcept override {
    note("getsockopt " + std::to_string(descriptor) + " " + std::to_string(level) + " " +
         std::to_string(option) + " " + std::to_string(*length));
    optionValue.copy(static_cast<char*>(value), *length);
    return optionResult;
  }
  int close(int descriptor) noexcept override {
    note("close " + std::to_string(descriptor));
    open.erase(descriptor);
    return 0;
  }

 private:
  static int failed(int error) {
    errno = error;
    return -1;
  }
  void note(std::string call) { calls.push_back(std::move(call)); }

  int next_ = 100;
};

}  // namespace sifterra
