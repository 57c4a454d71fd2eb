// BufferedReader: lines, counted runs and skips over a byte stream, each bounded.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "input/ByteStream.h"

namespace sifterra::tools {

class BufferedReader {
 public:
  explicit BufferedReader(std::unique_ptr<ByteStream> stream);

  // A line without its line feed and a carriage return before it; nothing at the end. `complete`
  // turns false when the line was longer than `limit`: the rest of it is passed over.
  struct Line {
    std::string text;
    bool complete = true;    // within the limit
    bool terminated = true;  // a line feed stood behind it
  };
  [[nodiscard]] std::optional<Line> readLine(std::size_t limit);
  // The next bytes, `count` of them or fewer when the input ends.
  [[nodiscard]] std::string readBytes(std::size_t count);
  // Passes over `count` bytes; tells how many there were.
  std::uint64_t skip(std::uint64_t count);

  [[nodiscard]] std::uint64_t position() const { return stream_->position(); }

 private:
  bool fill();  // false at the end
  std::unique_ptr<ByteStream> stream_;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
  std::size_t available_ = 0;
};

}  // namespace sifterra::tools
