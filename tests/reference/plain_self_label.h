// plain_self_label.h: reads a SafeSurf label by cutting pieces off its front.
//
// What the library's scanner is compared with.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/Unicode.h"

namespace sifterra::reference {

class PlainLabelReader {
 public:
  explicit PlainLabelReader(std::u16string text) : rest_(std::move(text)) {}

  std::map<std::u16string, std::int32_t> levels() {
    std::map<std::u16string, std::int32_t> result;
    while (skipToMark() || skipMark()) {
      skipMark();
      const std::u16string code = takeUntilSpace();
      if (code.empty()) break;
      std::u16string number = takeInteger();
      if (number.empty()) break;
      result[code] = value(number);
    }
    return result;
  }

 private:
  static std::u16string withoutLeadingSpace(std::u16string text) {
    while (!text.empty() && platform::isWhitespaceOrNewline(text[0])) text.erase(0, 1);
    return text;
  }
  static bool beginsWithMark(const std::u16string& text) {
    return text.size() >= 4 && platform::simpleFold(text[0]) == U's' &&
           platform::simpleFold(text[1]) == U's' && text[2] == u'~' && text[3] == u'~';
  }
  bool skipToMark() {
    std::u16string text = withoutLeadingSpace(rest_);
    if (text.empty() || beginsWithMark(text)) return false;
    while (!text.empty() && !beginsWithMark(text)) text.erase(0, 1);
    rest_ = text;
    return true;
  }
  bool skipMark() {
    const std::u16string text = withoutLeadingSpace(rest_);
    if (!beginsWithMark(text)) return false;
    rest_ = text.substr(4);
    return true;
  }
  std::u16string takeUntilSpace() {
    const std::u16string text = withoutLeadingSpace(rest_);
    const std::u16string code = text.substr(0, text.find(u' '));
    if (!code.empty()) rest_ = text.substr(code.size());
    return code;
  }
  std::u16string takeInteger() {
    const std::u16string text = withoutLeadingSpace(rest_);
    std::size_t end = !text.empty() && (text[0] == u'-' || text[0] == u'+') ? 1 : 0;
    const std::size_t digits = end;
    while (end < text.size() && text[end] >= u'0' && text[end] <= u'9') ++end;
    if (end == digits) return u"";
    rest_ = text.substr(end);
    return text.substr(0, end);
  }
  static std::int32_t value(const std::u16string& number) {
    const bool negative = number[0] == u'-';
    std::string digits;
    for (const char16_t unit : number) {
      if (unit >= u'0' && unit <= u'9' && !(digits.empty() && unit == u'0'))
        digits += static_cast<char>(unit);
    }
    if (digits.empty()) return 0;
    const std::int64_t magnitude = digits.size() > 10 ? INT64_C(99999999999) : std::stoll(digits);
    if (negative) return magnitude > INT64_C(2147483648) ? INT32_MIN : static_cast<std::int32_t>(-magnitude);
    return magnitude > INT64_C(2147483647) ? INT32_MAX : static_cast<std::int32_t>(magnitude);
  }

  std::u16string rest_;
};

}  // namespace sifterra::reference
