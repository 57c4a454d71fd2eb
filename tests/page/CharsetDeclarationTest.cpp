// The scan for the charset that the parser is told.
#include "page/charset_declaration.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace sifterra {
namespace {

struct Row {
  std::string_view page;
  std::optional<std::string_view> value;
};

const Row kRows[] = {
    {"<meta content=\"text/html; charset=ISO-8859-1\">", "ISO-8859-1"},  // the attribute's quote ends it
    {"<meta charset=\"utf-8\">", "utf-8"},
    {"CHARSET=\"utf-8\" ", "utf-8"},
    {"ChArSeT=utf-8\" ", "utf-8"},
    {"charset=\"a\" charset=\"b\" ", "a"},                 // the first one counts
    {"charset= charset=\"b\" ", " charset="},              // even a useless one
    {"<!--charset=\"a\"--> charset=\"b\" ", "a"},          // wherever it stands
    {"accept-charset=\"a\" ", "a"},                        // or whatever it is part of
    {"charset=utf-8><p class=\"x\">", "utf-8><p class="},  // nothing else ends it
    {"charset='utf-8' \" ", "'utf-8' "},                   // single quotes belong to it
    {"charset=utf-8; x\" ", "utf-8; x"},
    {std::string_view("charset=a\0b\" ", 13), std::string_view("a\0b", 3)},
    {"charset=utf-8>", std::nullopt},    // no quote anywhere behind it
    {"charset=\"utf-8>", std::nullopt},  // opened, never closed
    {"charset=\"\" ", std::nullopt},     // empty
    {"charset=\"\"", std::nullopt},
    {"charset=", std::nullopt},  // the last eight bytes
    {"  charset=", std::nullopt},
    {"charset=\"", std::nullopt},
    {"charset=a", std::nullopt},
    {"charset=a\"", std::nullopt},  // a quote that is the last byte ends nothing
    {"charset=\"utf-8\"", std::nullopt},
    {"charset=\"utf-8\">", "utf-8"},
    {"charset=a\" ", "a"},
    {"charset =\"a\" ", std::nullopt},  // no space may stand before the equals sign
    {"charse=\"a\" ", std::nullopt},
    {"=", std::nullopt},
    {"charset", std::nullopt},
    {"", std::nullopt},
    {"xcharset=x\" =", "x"},
};

TEST(DeclaredCharset, RunsFromTheFirstDeclarationToADoubleQuote) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.page);
    EXPECT_EQ(declaredCharset(row.page), row.value);
  }
}

// The rule step by step, byte by byte.
std::optional<std::string_view> plainDeclaredCharset(std::string_view page) {
  const std::size_t n = page.size();
  for (std::size_t k = 0; k + 8 < n; ++k) {
    bool matches = true;
    for (std::size_t j = 0; j < 8; ++j)
      matches &= (page[k + j] | ('a' ^ 'A')) == ("charset="[j] | ('a' ^ 'A'));
    if (!matches || page[k + 7] != '=') continue;
    std::size_t s = k + 8;
    for (std::size_t i = s;; ++i) {
      if (i + 1 >= n) return std::nullopt;
      if (page[i] != '"') continue;
      if (i == k + 8) {
        ++s;
      } else if (i == s) {
        return std::nullopt;
      } else {
        return page.substr(s, i - s);
      }
    }
  }
  return std::nullopt;
}

TEST(DeclaredCharset, AgreesWithThePlainScanOnShortPages) {
  // Every page of up to six pieces out of these.
  constexpr std::string_view kPieces[] = {"charset=", "CHARSET", "=", "\"", "x"};
  for (unsigned code = 0; code < 5 * 5 * 5 * 5 * 5 * 5; ++code) {
    std::string page;
    for (unsigned rest = code, i = 0; i < 6; ++i, rest /= 5) {
      page += kPieces[rest % 5];
      SCOPED_TRACE(page);
      ASSERT_EQ(declaredCharset(page), plainDeclaredCharset(page));
    }
  }
}

TEST(EncodingNameForParser, HoldsThirtyOneAsciiCharacters) {
  const std::string longest(31, 'x');
  ASSERT_TRUE(encodingNameForParser(longest));
  EXPECT_EQ(std::string(encodingNameForParser(longest)->data()), longest);
  EXPECT_FALSE(encodingNameForParser(longest + "x"));
  EXPECT_FALSE(encodingNameForParser("latin\xE9"));
}

}  // namespace
}  // namespace sifterra
