// durable_file: files that are there as a whole or not at all, also after the power went.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::services {

// Replaces the file by `bytes`: a new file beside it (its name and ".new-XXXXXX"), synced, renamed over it,
// and the directory synced. On failure the old file stands, nothing is left beside it, and `problem` says
// what went wrong. What a writer left there that was killed goes with the next write that is a minute later.
[[nodiscard]] bool writeDurably(const std::string& path, std::string_view bytes, unsigned mode,
                                std::string& problem);

// The file's bytes, or nothing and `problem`. `missing` tells the reason that is none: there is no such file.
[[nodiscard]] std::optional<std::string> readWhole(const std::string& path, std::size_t mostBytes,
                                                   std::string& problem, bool* missing = nullptr);

}  // namespace sifterra::services
