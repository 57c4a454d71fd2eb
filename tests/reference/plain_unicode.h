// plain_unicode.h: the UTF conversions as the Unicode standard words them, one byte at a time and slow. The
// fast ones are held against these.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::plain {

// Table 3-7 of the Unicode standard: what may follow a first byte.
struct WellFormedBytes {
  unsigned char first, firstEnd;
  int length;
  unsigned char second, secondEnd;
};
inline constexpr WellFormedBytes kWellFormedBytes[] = {
    {0x00, 0x7F, 1, 0, 0},       {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

inline void appendCharacter(std::uint32_t c, std::u16string& out) {
  if (c < 0x10000) {
    out.push_back(static_cast<char16_t>(c));
  } else {
    out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
  }
}

// Decodes with one U+FFFD for each maximal part of an ill-formed sequence; `wellFormed` tells of any.
inline std::u16string utf16(std::string_view bytes, bool& wellFormed) {
  std::u16string out;
  wellFormed = true;
  for (std::size_t at = 0; at < bytes.size();) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const WellFormedBytes* row = nullptr;
    for (const WellFormedBytes& candidate : kWellFormedBytes) {
      if (byte(at) >= candidate.first && byte(at) <= candidate.firstEnd) row = &candidate;
    }
    std::size_t end = at + 1;
    std::uint32_t c = 0xFFFD;
    bool good = row != nullptr;
    if (row != nullptr) {
      constexpr std::uint32_t kFirstBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
      c = byte(at) & kFirstBits[row->length];
      for (int k = 1; good && k < row->length; ++k) {
        const unsigned char from = k == 1 ? row->second : 0x80;
        const unsigned char to = k == 1 ? row->secondEnd : 0xBF;
        good = end < bytes.size() && byte(end) >= from && byte(end) <= to;
        if (good) c = (c << 6) | (byte(end++) & 0x3FU);
      }
    }
    appendCharacter(good ? c : 0xFFFD, out);
    wellFormed = wellFormed && good;
    at = end;
  }
  return out;
}

inline std::string utf8(std::u16string_view units) {
  std::string out;
  for (std::size_t i = 0; i < units.size(); ++i) {
    std::uint32_t c = units[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
        units[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00U);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

}  // namespace sifterra::plain
