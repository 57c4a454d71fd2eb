#include "SubordinateIds.h"

#include <charconv>

namespace sifterra::netfilterd {
namespace {

// The last number that stands for a user; the one after it means "none" everywhere.
constexpr std::uint64_t kLastId = 0xfffffffe;

bool readNumber(std::string_view text, std::uint64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() && !text.empty();
}

}  // namespace

std::vector<IdRange> subordinateIds(std::string_view text, const std::string& name, std::uint32_t uid) {
  std::vector<IdRange> ranges;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    const std::size_t first = line.find(':');
    const std::size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
    if (second == std::string_view::npos) continue;
    const std::string_view owner = line.substr(0, first);
    std::uint64_t number = 0;
    if (owner != name && !(readNumber(owner, number) && number == uid)) continue;
    std::uint64_t from = 0;
    std::uint64_t count = 0;
    if (!readNumber(line.substr(first + 1, second - first - 1), from) ||
        !readNumber(line.substr(second + 1), count) || count == 0 || from == 0 || from > kLastId) {
      continue;
    }
    const std::uint64_t last = count - 1 > kLastId - from ? kLastId : from + count - 1;
    ranges.push_back({static_cast<std::uint32_t>(from), static_cast<std::uint32_t>(last)});
  }
  return ranges;
}

}  // namespace sifterra::netfilterd
