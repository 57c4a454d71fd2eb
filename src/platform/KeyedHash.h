// KeyedHash: a hash of bytes with a key that each process draws anew, so that nobody can prepare a list of
// names that collide.
#pragma once

#include <cstdint>
#include <string_view>

namespace sifterra::platform {

[[nodiscard]] std::uint64_t keyedHash(std::string_view bytes) noexcept;

}  // namespace sifterra::platform
