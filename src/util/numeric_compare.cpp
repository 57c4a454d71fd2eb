// numericCompare: digit runs are compared as text without their leading zeros, so no length overflows.
#include <algorithm>

#include "util/string_helpers.h"

namespace sifterra {
namespace {

constexpr bool isDigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

// Takes the digit run off the front of the text; its value is spelled without leading zeros.
std::u16string_view takeNumber(std::u16string_view& text) {
  const auto end =
      static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isDigit) - text.begin());
  std::u16string_view run = text.substr(0, end);
  text.remove_prefix(end);
  run.remove_prefix(std::min(run.find_first_not_of(u'0'), run.size()));
  return run;
}

std::weak_ordering compareNumbers(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return a.size() <=> b.size();
  return a.compare(b) <=> 0;
}

}  // namespace

std::weak_ordering numericCompare(std::u16string_view receiver, std::u16string_view other) {
  while (!receiver.empty() && !other.empty()) {
    if (isDigit(receiver.front()) && isDigit(other.front())) {
      const std::u16string_view number = takeNumber(receiver);
      const std::weak_ordering order = compareNumbers(number, takeNumber(other));
      if (std::is_neq(order)) return order;
      continue;
    }
    if (receiver.front() != other.front()) return receiver.front() <=> other.front();
    receiver.remove_prefix(1);
    other.remove_prefix(1);
  }
  return receiver.size() <=> other.size();
}

}  // namespace sifterra
