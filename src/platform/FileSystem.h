// FileSystem.h: fixed system paths under one root prefix, and plain file access.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::platform {

// The prefix that a host program set, "" at first; slashes at its end are dropped. Thread safe.
void setFileSystemRoot(std::string directory);
[[nodiscard]] std::string fileSystemRoot();
// A fixed system path below the root prefix.
[[nodiscard]] std::string systemPath(std::string_view path);

// Whether the text can be one name in a path that must not lead elsewhere: not empty, ".", "..", longer than
// 255 bytes, nor with a slash or a zero byte.
[[nodiscard]] bool isFileName(std::string_view name) noexcept;

// Links are followed. A path that is empty or holds a zero byte names nothing.
[[nodiscard]] bool fileExists(const std::string& path);  // anything there
[[nodiscard]] bool isRegularFile(const std::string& path);
[[nodiscard]] bool isDirectory(const std::string& path);
// The whole regular file, at most `limit` bytes; nothing when it cannot be read, is longer or is something
// else (a pipe would keep the caller waiting).
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t limit);

// The same, telling why not.
struct FileReading {
  std::optional<std::string> bytes;
  std::string problem;   // in words, when there are no bytes
  bool missing = false;  // there is nothing at the path, not even a dangling link
};
// A file that is written to meanwhile is read again, a few times, so that no half of each version comes out.
[[nodiscard]] FileReading readWholeFile(const std::string& path, std::size_t limit);

// When the contents of what is there were last changed, in nanoseconds since 1970; nothing when there is
// nothing or its attributes cannot be read.
[[nodiscard]] std::optional<std::int64_t> modificationDate(const std::string& path);

}  // namespace sifterra::platform
