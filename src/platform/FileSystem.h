// FileSystem.h: fixed system paths under one root prefix, and plain file access.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sifterra::platform {

// The prefix that a host program set, "" at first. Thread safe.
void setFileSystemRoot(std::string directory);
[[nodiscard]] std::string fileSystemRoot();
// A fixed system path below the root prefix.
[[nodiscard]] std::string systemPath(std::string_view path);

[[nodiscard]] bool fileExists(const std::string& path);     // anything at the path, links followed
[[nodiscard]] bool isRegularFile(const std::string& path);  // links followed
[[nodiscard]] bool isDirectory(const std::string& path);
// The whole file, at most `limit` bytes; nothing when it cannot be read or is longer.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t limit);

}  // namespace sifterra::platform
