#include "page_parts.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

#include "Refusal.h"
#include "ascii_text.h"

namespace sifterra::icap {
namespace {

// All of the text is one number, or nothing.
std::optional<std::uint64_t> numberOf(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// "bytes 0-99/100"
bool isWhole(std::string_view contentRange) {
  constexpr std::string_view kUnit = "bytes ";
  if (!equalsIgnoringCase(contentRange.substr(0, kUnit.size()), kUnit)) return false;
  contentRange.remove_prefix(kUnit.size());
  const auto first = numberOf(takePart(&contentRange, '-'));
  const auto last = numberOf(takePart(&contentRange, '/'));
  const auto length = numberOf(contentRange);
  return first && last && length && *first == 0 && *length > 0 && *last == *length - 1;
}

bool isPartialContent(const HttpMessage& message) {
  std::string_view line = message.statusLine;
  static_cast<void>(takePart(&line, ' '));
  return trimmed(line).starts_with("206");
}

}  // namespace

bool isPart(const HttpMessage& message) {
  if (!isPartialContent(message)) return false;
  const auto& ranges = message.contentRanges;
  return ranges.empty() || !std::all_of(ranges.begin(), ranges.end(), isWhole);
}

bool isOfParts(const HttpMessage& message) {
  constexpr std::string_view kParts = "multipart/byteranges";
  return isPartialContent(message) &&
         std::any_of(message.contentTypes.begin(), message.contentTypes.end(), [&](std::string_view type) {
           return equalsIgnoringCase(type.substr(0, kParts.size()), kParts);
         });
}

bool shouldAskForAll(const HttpMessage& message) {
  if (message.range.empty()) return false;
  if (message.range.find(',') != std::string_view::npos) return true;
  // Viewers in a page read documents in parts.
  const bool isViewer = equalsIgnoringCase(message.fetchDestination, "embed") ||
                        equalsIgnoringCase(message.fetchDestination, "object");
  return isToBeShown(message) && !isViewer;
}

}  // namespace sifterra::icap
