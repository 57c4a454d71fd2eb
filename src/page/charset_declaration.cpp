// charset_declaration: a scan of the bytes, before anything is parsed.
#include "page/charset_declaration.h"

#include <algorithm>
#include <cstddef>

namespace sifterra {

namespace {

constexpr std::string_view kDeclaration = "charset=";

constexpr char lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c;
}

bool isDeclaration(std::string_view text) noexcept {
  return std::equal(text.begin(), text.end(), kDeclaration.begin(), kDeclaration.end(),
                    [](char a, char b) { return lower(a) == b; });
}

// Where the value of the first declaration starts. At least one byte follows it.
std::optional<std::size_t> startOfValue(std::string_view page) noexcept {
  // The equals sign is the rarest character of the declaration, so that is what is searched for.
  constexpr std::size_t kBefore = kDeclaration.size() - 1;
  for (std::size_t equals = page.find('=', std::min(kBefore, page.size())); equals != std::string_view::npos;
       equals = page.find('=', equals + 1)) {
    if (equals + 1 >= page.size()) break;  // kept: the page's last bytes are not a declaration
    if (isDeclaration(page.substr(equals - kBefore, kDeclaration.size()))) return equals + 1;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string_view> declaredCharset(std::string_view page) noexcept {
  const std::optional<std::size_t> found = startOfValue(page);
  if (!found) return std::nullopt;
  // Kept: a single quote, a space or ">" is part of the value, and a quote that is the page's last byte ends
  // nothing. The first byte never ends the value: a double quote there opens it.
  const std::size_t start = page[*found] == '"' ? *found + 1 : *found;
  const std::string_view searched = page.substr(0, page.size() - 1);
  const std::size_t end = searched.find('"', *found + 1);
  if (end == std::string_view::npos || end == start) return std::nullopt;
  return page.substr(start, end - start);
}

std::optional<EncodingName> encodingNameForParser(std::string_view canonicalName) noexcept {
  EncodingName name{};
  const bool isAscii =
      std::all_of(canonicalName.begin(), canonicalName.end(), [](char c) { return (c & 0x80) == 0; });
  if (!isAscii || canonicalName.size() >= name.size()) return std::nullopt;
  std::copy(canonicalName.begin(), canonicalName.end(), name.begin());
  return name;
}

}  // namespace sifterra
