#include "input/ByteStream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace sifterra::tools {
namespace {

constexpr std::size_t kReadBlock = 64 * 1024;

InputError readFailure() {
  return InputError(std::string("cannot be read: ") + std::strerror(errno));
}

}  // namespace

FileStream::FileStream(const std::string& path)
    : descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      owned_(path != "-") {
  if (descriptor_ < 0) throw readFailure();
}

FileStream::~FileStream() {
  if (owned_) close(descriptor_);
}

std::size_t FileStream::read(char* buffer, std::size_t count) {
  for (;;) {
    const ssize_t got = ::read(descriptor_, buffer, count);
    if (got >= 0) {
      position_ += static_cast<std::uint64_t>(got);
      return static_cast<std::size_t>(got);
    }
    if (errno != EINTR) throw readFailure();
  }
}

std::size_t MemoryStream::read(char* buffer, std::size_t count) {
  const std::size_t got = std::min({count, chunk_, bytes_.size() - position_});
  std::copy_n(bytes_.data() + position_, got, buffer);
  position_ += got;
  return got;
}

std::string readAll(ByteStream& stream, std::size_t limit) {
  std::string all;
  for (;;) {
    const std::size_t before = all.size();
    all.resize(before + kReadBlock);
    const std::size_t got = stream.read(all.data() + before, kReadBlock);
    all.resize(before + got);
    if (got == 0) return all;
    if (all.size() > limit) throw InputError("is larger than " + std::to_string(limit) + " bytes");
  }
}

}  // namespace sifterra::tools
