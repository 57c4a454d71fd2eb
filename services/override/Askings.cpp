#include "Askings.h"

#include <sys/random.h>

#include <algorithm>
#include <array>

namespace sifterra::override_service {
namespace {

std::string randomToken() {
  std::array<unsigned char, 16> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return {};
  constexpr char kDigits[] = "0123456789abcdef";
  std::string token;
  for (const unsigned char byte : bytes) {
    token += kDigits[byte >> 4];
    token += kDigits[byte & 15];
  }
  return token;
}

}  // namespace

std::string Askings::add(Asking asking) {
  std::string token = randomToken();
  if (token.empty()) return token;
  const std::scoped_lock guard(_lock);
  const auto now = _clock();
  std::erase_if(_entries, [&](const Entry& entry) { return entry.until <= now; });
  const auto isOfUser = [&](const Entry& entry) { return entry.asking.uid == asking.uid; };
  if (static_cast<std::size_t>(std::count_if(_entries.begin(), _entries.end(), isOfUser)) >= kMostOfUser) {
    _entries.erase(std::find_if(_entries.begin(), _entries.end(), isOfUser));
  }
  _entries.push_back({token, std::move(asking), now + kLongest});
  return token;
}

std::optional<Asking> Askings::find(const std::string& token, std::uint32_t uid) const {
  const std::scoped_lock guard(_lock);
  const auto now = _clock();
  for (const Entry& entry : _entries) {
    if (entry.token == token && entry.asking.uid == uid && now < entry.until) return entry.asking;
  }
  return std::nullopt;
}

void Askings::setOpened(const std::string& token) {
  const std::scoped_lock guard(_lock);
  for (Entry& entry : _entries) entry.asking.opened |= entry.token == token;
}

void Askings::remove(const std::string& token) {
  const std::scoped_lock guard(_lock);
  std::erase_if(_entries, [&](const Entry& entry) { return entry.token == token; });
}

}  // namespace sifterra::override_service
