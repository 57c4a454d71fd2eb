#include "lsm/MapBytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

namespace sifterra::lsm {
namespace {

// As much as the payload's widest alignment needs, header included.
constexpr std::align_val_t kAlignment{64};

std::string systemError(const char* what) {
  return std::string(what) + ": " + std::generic_category().message(errno);
}

class Descriptor {
 public:
  explicit Descriptor(int value) noexcept : _value(value) {}
  ~Descriptor() {
    if (_value >= 0) ::close(_value);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int value() const noexcept { return _value; }

 private:
  int _value;
};

}  // namespace

std::unique_ptr<MapBytes> MapBytes::ofFile(const std::string& path, std::string& why) {
  // A name with a zero byte would open another file than the one named.
  if (path.empty() || path.find('\0') != std::string::npos) {
    why = "not a file name";
    return nullptr;
  }
  // Not to wait for a writer when the name is a pipe's.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.value() < 0) {
    why = systemError("cannot open the file");
    return nullptr;
  }
  struct stat status {};
  if (::fstat(file.value(), &status) != 0) {
    why = systemError("cannot examine the file");
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    why = "not a regular file";
    return nullptr;
  }
  if (status.st_size <= 0) {
    why = "the file is empty";
    return nullptr;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > kMaxMapBytes) {
    why = "the file is too large for a map";
    return nullptr;
  }
  void* start = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file.value(), 0);
  if (start == MAP_FAILED) {
    why = systemError("cannot map the file");
    return nullptr;
  }
  return std::unique_ptr<MapBytes>(new MapBytes(static_cast<std::byte*>(start), size, true));
}

std::unique_ptr<MapBytes> MapBytes::copyOf(std::string_view bytes) {
  auto* start = static_cast<std::byte*>(::operator new(bytes.size(), kAlignment));
  if (!bytes.empty()) std::memcpy(start, bytes.data(), bytes.size());
  return std::unique_ptr<MapBytes>(new MapBytes(start, bytes.size(), false));
}

MapBytes::~MapBytes() {
  if (_mapped) {
    ::munmap(_start, _size);
  } else {
    ::operator delete(_start, kAlignment);
  }
}

}  // namespace sifterra::lsm
