#include "input/BufferedReader.h"

#include <algorithm>
#include <cstring>

namespace sifterra::tools {
namespace {

constexpr std::size_t kBlock = 64 * 1024;

}  // namespace

BufferedReader::BufferedReader(std::unique_ptr<ByteStream> stream)
    : stream_(std::move(stream)), buffer_(kBlock) {}

bool BufferedReader::fill() {
  if (used_ < available_) return true;
  used_ = 0;
  available_ = stream_->read(buffer_.data(), buffer_.size());
  return available_ > 0;
}

std::optional<BufferedReader::Line> BufferedReader::readLine(std::size_t limit) {
  if (!fill()) return std::nullopt;
  Line line;
  line.terminated = false;
  while (!line.terminated && fill()) {
    const char* begin = buffer_.data() + used_;
    const std::size_t left = available_ - used_;
    const void* end = std::memchr(begin, '\n', left);
    const std::size_t count = end ? static_cast<std::size_t>(static_cast<const char*>(end) - begin) : left;
    const std::size_t room = limit - line.text.size();
    if (count > room) line.complete = false;
    line.text.append(begin, std::min(count, room));
    used_ += count + (end ? 1 : 0);
    line.terminated = end != nullptr;
  }
  if (line.complete && !line.text.empty() && line.text.back() == '\r') line.text.pop_back();
  return line;
}

// Grows with what arrives, not with what was announced: a length field alone costs no memory.
std::string BufferedReader::readBytes(std::size_t count) {
  std::string bytes;
  while (bytes.size() < count && fill()) {
    const std::size_t got = std::min(count - bytes.size(), available_ - used_);
    bytes.append(buffer_.data() + used_, got);
    used_ += got;
  }
  return bytes;
}

std::uint64_t BufferedReader::skip(std::uint64_t count) {
  std::uint64_t skipped = 0;
  while (skipped < count && fill()) {
    const std::size_t got =
        static_cast<std::size_t>(std::min<std::uint64_t>(count - skipped, available_ - used_));
    used_ += got;
    skipped += got;
  }
  return skipped;
}

}  // namespace sifterra::tools
