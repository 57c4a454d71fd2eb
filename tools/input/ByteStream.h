// ByteStream: bytes in reading order, from a file, a pipe or memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sifterra::tools {

// What kept an input from being read, as a clause that follows the file's name. Caught where the
// pages of that input are handed out; never leaves tools/input/.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ByteStream {
 public:
  virtual ~ByteStream() = default;
  // Up to `count` bytes into `buffer`; 0 only at the end. Throws InputError.
  [[nodiscard]] virtual std::size_t read(char* buffer, std::size_t count) = 0;
  // How far the underlying file has been read, in its own bytes.
  [[nodiscard]] virtual std::uint64_t position() const = 0;
};

// A file by path, or standard input for "-". Throws InputError when it cannot be opened.
class FileStream : public ByteStream {
 public:
  explicit FileStream(const std::string& path);
  ~FileStream() override;
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;
  [[nodiscard]] std::size_t read(char* buffer, std::size_t count) override;
  [[nodiscard]] std::uint64_t position() const override { return position_; }

 private:
  int descriptor_;
  bool owned_;
  std::uint64_t position_ = 0;
};

// Borrowed bytes, handed out at most `chunk` at a time.
class MemoryStream : public ByteStream {
 public:
  explicit MemoryStream(std::string_view bytes, std::size_t chunk = SIZE_MAX)
      : bytes_(bytes), chunk_(chunk == 0 ? 1 : chunk) {}
  [[nodiscard]] std::size_t read(char* buffer, std::size_t count) override;
  [[nodiscard]] std::uint64_t position() const override { return position_; }

 private:
  std::string_view bytes_;
  std::size_t chunk_;
  std::size_t position_ = 0;
};

// The rest of the stream. Throws InputError when that is more than `limit` bytes.
[[nodiscard]] std::string readAll(ByteStream& stream, std::size_t limit);

}  // namespace sifterra::tools
