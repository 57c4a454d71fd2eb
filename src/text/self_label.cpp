// self_label.cpp: a scanner over the label's text that skips white space before each item.
#include "text/self_label.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "platform/Unicode.h"
#include "util/folded_search.h"

namespace sifterra {
namespace {

constexpr std::u16string_view kSafeSurfMark = u"SS~~";

struct Limit {
  std::u16string_view code;
  std::int32_t level;  // exceeded, not equalled
};

// Kept: code 006 is not consulted, and 000 and 007 are stricter than the rest.
constexpr Limit kLimits[] = {
    {u"000", 4}, {u"001", 5}, {u"002", 5}, {u"003", 5}, {u"004", 5},
    {u"005", 5}, {u"007", 4}, {u"008", 5}, {u"009", 5}, {u"00A", 5},
};

constexpr bool isDigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

class LabelScanner {
 public:
  explicit LabelScanner(std::u16string_view text) : text_(text) {}

  // Moves to the next mark, or to the end when there is none; false when nothing lies before it.
  bool scanUpToMark() {
    const std::size_t start = afterWhitespace();
    const std::size_t end = std::min(findFolded(text_, kSafeSurfMark, start), text_.size());
    if (end == start) return false;
    at_ = end;
    return true;
  }

  bool scanMark() {
    const std::size_t start = afterWhitespace();
    if (!platform::equalIgnoringCase(text_.substr(start, kSafeSurfMark.size()), kSafeSurfMark)) return false;
    at_ = start + kSafeSurfMark.size();
    return true;
  }

  // The characters up to the next U+0020 or the end. Kept: no other white space ends a code.
  std::optional<std::u16string_view> scanCode() {
    const std::size_t start = afterWhitespace();
    const std::size_t end = std::min(text_.find(u' ', start), text_.size());
    if (end == start) return std::nullopt;
    at_ = end;
    return text_.substr(start, end - start);
  }

  // A sign directly before decimal digits, or the digits alone; too large ones stop at the type's ends.
  std::optional<std::int32_t> scanInteger() {
    std::size_t next = afterWhitespace();
    const bool negative = next < text_.size() && text_[next] == u'-';
    if (next < text_.size() && (text_[next] == u'-' || text_[next] == u'+')) ++next;
    if (next >= text_.size() || !isDigit(text_[next])) return std::nullopt;
    constexpr std::int64_t kBeyond = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    std::int64_t value = 0;
    for (; next < text_.size() && isDigit(text_[next]); ++next) {
      value = std::min(value * 10 + (text_[next] - u'0'), kBeyond);
    }
    at_ = next;
    return static_cast<std::int32_t>(negative ? -value : std::min(value, kBeyond - 1));
  }

 private:
  [[nodiscard]] std::size_t afterWhitespace() const {
    std::size_t next = at_;
    while (next < text_.size() && platform::isWhitespaceOrNewline(text_[next])) ++next;
    return next;
  }

  std::u16string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

bool isRTALabel(std::u16string_view text) {
  return platform::equalIgnoringCase(text, u"RTA-5042-1996-1400-1577-RTA");
}

bool hasSafeSurfLabel(std::u16string_view text) {
  return findFolded(text, kSafeSurfMark, 0) != std::u16string_view::npos;
}

SafeSurfLevels safeSurfLevels(std::u16string_view text) {
  SafeSurfLevels levels;
  LabelScanner scanner(text);
  while (scanner.scanUpToMark() || scanner.scanMark()) {
    // Kept: a mark that begins the text is taken twice, so that "SS~~SS~~000 5" names the code 000.
    scanner.scanMark();
    const std::optional<std::u16string_view> code = scanner.scanCode();
    if (!code) break;
    const std::optional<std::int32_t> level = scanner.scanInteger();
    if (!level) break;
    levels[*code] = *level;  // a later one replaces an earlier one
  }
  return levels;
}

bool safeSurfRestricts(const SafeSurfLevels& levels) {
  return std::any_of(std::begin(kLimits), std::end(kLimits), [&](const Limit& limit) {
    const auto found = levels.find(limit.code);
    return found != levels.end() && found->second > limit.level;
  });
}

}  // namespace sifterra
