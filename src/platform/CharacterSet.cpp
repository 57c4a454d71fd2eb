// CharacterSet: names of encodings, by tables.
//
// ICU knows most of the IANA registry, but its own look-up also takes other names and ignores punctuation, so
// its registered names are copied into a table that is searched exactly.
#include "platform/CharacterSet.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <memory>
#include <unordered_map>

#include "platform/icu_data.h"

namespace sifterra::platform {
namespace {

struct NamePair {
  std::string_view name;
  const char* encoding;
};

constexpr NamePair kIANASets[] = {
#include "platform/iana_character_sets.inc"
};

constexpr NamePair kWebLabels[] = {
#include "platform/web_encoding_labels.inc"
};

std::string lowered(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return lower;
}

using CanonicalNames = std::unordered_map<std::string, std::string>;  // by name in lower case

// The converter's preferred name after the standard, null when it has none.
const char* standardName(const char* converter, const char* standard) {
  UErrorCode error = U_ZERO_ERROR;
  return ucnv_getStandardName(converter, standard, &error);
}

void addNamesOfConverter(const char* converter, CanonicalNames& names) {
  const char* canonical = standardName(converter, "MIME");
  if (!canonical) canonical = standardName(converter, "IANA");
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<UEnumeration, decltype(&uenum_close)> registered(
      ucnv_openStandardNames(converter, "IANA", &error), &uenum_close);
  if (U_FAILURE(error) || !canonical) return;
  while (const char* name = uenum_next(registered.get(), nullptr, &error))
    names.emplace(lowered(name), canonical);
}

const CanonicalNames& canonicalNames() {
  // Never destroyed: threads may ask while the process exits.
  static const CanonicalNames& names = []() -> const CanonicalNames& {
    auto& made = *new CanonicalNames;
    for (const NamePair& row : kIANASets) made.emplace(lowered(row.name), row.encoding);
    for (std::int32_t i = 0; i < ucnv_countAvailable(); ++i)
      addNamesOfConverter(ucnv_getAvailableName(i), made);
    return made;
  }();
  return names;
}

std::string_view withoutASCIIWhitespace(std::string_view text) {
  constexpr std::string_view kBlanks = "\t\n\f\r ";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

std::optional<std::string> canonicalIANACharacterSetName(std::string_view name) {
  const auto known = canonicalNames().find(lowered(name));
  if (known == canonicalNames().end()) return std::nullopt;
  return known->second;
}

std::optional<std::string> webEncodingForLabel(std::string_view label) {
  const std::string wanted = lowered(withoutASCIIWhitespace(label));
  const auto* const found =
      std::lower_bound(std::begin(kWebLabels), std::end(kWebLabels), wanted,
                       [](const NamePair& row, const std::string& l) { return row.name < l; });
  if (found == std::end(kWebLabels) || found->name != wanted) return std::nullopt;
  return found->encoding;
}

}  // namespace sifterra::platform
