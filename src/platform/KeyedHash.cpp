// KeyedHash: xxHash's XXH3 with a random secret.
#include "platform/KeyedHash.h"

#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::platform {
namespace {

using Secret = std::array<unsigned char, XXH3_SECRET_DEFAULT_SIZE>;

Secret drawnSecret() noexcept {
  Secret secret{};
  std::size_t drawn = 0;
  while (drawn < secret.size()) {
    const ssize_t got = getrandom(secret.data() + drawn, secret.size() - drawn, GRND_NONBLOCK);
    if (got > 0) drawn += static_cast<std::size_t>(got);
    if (got <= 0) break;
  }
  if (drawn < secret.size()) {
    // Too early after the machine's start, or a sandbox: the clock and the process must do.
    const auto ticks =
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    XXH3_generateSecret_fromSeed(secret.data(), ticks ^ static_cast<std::uint64_t>(getpid()) << 40U);
  }
  return secret;
}

}  // namespace

std::uint64_t keyedHash(std::string_view bytes) noexcept {
  static const Secret secret = drawnSecret();
  return XXH3_64bits_withSecret(bytes.data(), bytes.size(), secret.data(), secret.size());
}

}  // namespace sifterra::platform
