// page_elements: names are compared in place, without regard to ASCII case.
//
// That is the comparison of the name in full Unicode lower case: of all other characters only the
// Kelvin sign becomes an ASCII letter ("k"), which no name here has, and the dotted capital I becomes
// two characters.
#include "page/page_elements.h"

#include <string_view>

namespace sifterra {

namespace {

constexpr char lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c;
}

// `name` is read no further than its first difference, so its length need not be known.
bool isNamed(const char* name, std::string_view element) noexcept {
  for (const char c : element) {
    if (lower(*name++) != c) return false;
  }
  return *name == '\0';
}

}  // namespace

PageElement pageElementNamed(const char* name) noexcept {
  if (name == nullptr) return PageElement::Other;
  switch (lower(name[0])) {
    case 'a':
      return name[1] == '\0' ? PageElement::A : PageElement::Other;
    case 's':
      if (isNamed(name, "style")) return PageElement::Style;
      return isNamed(name, "script") ? PageElement::Script : PageElement::Other;
    case 'm':
      return isNamed(name, "meta") ? PageElement::Meta : PageElement::Other;
    case 'i':
      return isNamed(name, "img") ? PageElement::Img : PageElement::Other;
    case 't':
      return isNamed(name, "title") ? PageElement::Title : PageElement::Other;
    case 'f':
      return isNamed(name, "frameset") ? PageElement::Frameset : PageElement::Other;
    default:
      return PageElement::Other;
  }
}

}  // namespace sifterra
