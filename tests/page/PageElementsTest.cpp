// Which node names mean which elements.
#include "page/page_elements.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/Unicode.h"

namespace sifterra {
namespace {

struct Row {
  const char* name;
  PageElement element;
};

constexpr Row kRows[] = {
    {"a", PageElement::A},
    {"A", PageElement::A},
    {"style", PageElement::Style},
    {"STYLE", PageElement::Style},
    {"script", PageElement::Script},
    {"Script", PageElement::Script},
    {"meta", PageElement::Meta},
    {"mEtA", PageElement::Meta},
    {"img", PageElement::Img},
    {"IMG", PageElement::Img},
    {"title", PageElement::Title},
    {"Title", PageElement::Title},
    {"frameset", PageElement::Frameset},
    {"FRAMESET", PageElement::Frameset},
    {nullptr, PageElement::Other},
    {"", PageElement::Other},
    {"ab", PageElement::Other},
    {"abbr", PageElement::Other},
    {"sty", PageElement::Other},
    {"styles", PageElement::Other},
    {"scrip", PageElement::Other},
    {"scripts", PageElement::Other},
    {"met", PageElement::Other},
    {"metas", PageElement::Other},
    {"image", PageElement::Other},
    {"frame", PageElement::Other},
    {"framesets", PageElement::Other},
    {"titles", PageElement::Other},
    {"text", PageElement::Other},
    {"comment", PageElement::Other},
    {"s\xC5\xA3yle", PageElement::Other},
    {"\xC5\xBF"
     "cript",
     PageElement::Other},
    {"\xFF", PageElement::Other},
};

TEST(PageElementNamed, ComparesTheLowerCasedName) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name == nullptr ? "(null)" : row.name);
    EXPECT_EQ(pageElementNamed(row.name), row.element);
  }
}

// Why comparing ASCII is enough: no other character turns into a letter of these names.
TEST(PageElementNamed, NeedsNoUnicodeLowerCasing) {
  for (char32_t c = 0x80; c < 0x110000; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    std::u16string text;
    if (c < 0x10000) {
      text.push_back(static_cast<char16_t>(c));
    } else {
      text.push_back(static_cast<char16_t>(0xD7C0 + (c >> 10)));
      text.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    }
    const std::u16string lower = platform::lowercased(text);
    const bool becomesAscii = lower.size() == 1 && lower[0] < 0x80;
    ASSERT_EQ(becomesAscii, c == 0x212A) << std::hex << static_cast<unsigned>(c);  // the Kelvin sign, "k"
    // The dotted capital I becomes "i" with a mark of its own, which no name has.
    ASSERT_TRUE(becomesAscii || lower.empty() || lower[0] >= 0x80 || c == 0x130)
        << std::hex << static_cast<unsigned>(c);
  }
}

}  // namespace
}  // namespace sifterra
