// locale_settings: two small line formats. Both are written by the system; a line that is malformed is passed
// over.
#include "platform/locale_settings.h"

#include <map>
#include <optional>
#include <string>

namespace sifterra::platform {
namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Calls `visit` with each part between separators.
template <class Visit>
void forEachPart(std::string_view text, char separator, Visit visit) {
  while (!text.empty()) {
    const std::size_t end = text.find(separator);
    visit(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

struct Assignment {
  std::string_view key;
  std::string_view value;
};

std::optional<Assignment> assignmentIn(std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || line.starts_with('#')) return std::nullopt;
  return Assignment{trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))};
}

std::string_view unquoted(std::string_view value) {
  const bool quoted =
      value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.front() == value.back();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

std::vector<String> languagesOfList(std::string_view list, char separator) {
  std::vector<String> languages;
  forEachPart(list, separator, [&](std::string_view locale) {
    if (String language = languageOfLocale(trimmed(locale))) languages.push_back(std::move(language));
  });
  return languages;
}

// What a locale's modifier says of the script.
std::string_view scriptOfModifier(std::string_view modifier) {
  if (modifier == "latin") return "Latn";
  if (modifier == "cyrillic") return "Cyrl";
  if (modifier == "devanagari") return "Deva";
  return {};
}

}  // namespace

String languageOfLocale(std::string_view locale) {
  const std::size_t at = locale.find('@');
  const std::string_view modifier = at == std::string_view::npos ? std::string_view() : locale.substr(at + 1);
  const std::string_view name = locale.substr(0, at).substr(0, locale.find('.'));
  if (name.empty() || name == "C" || name == "POSIX") return nullptr;
  const std::size_t underscore = name.find('_');
  std::string tag(name.substr(0, underscore));
  if (const std::string_view script = scriptOfModifier(modifier); !script.empty()) {
    tag.append("-").append(script);
  }
  if (underscore != std::string_view::npos) tag.append("-").append(name.substr(underscore + 1));
  return String::fromUTF8Lossy(tag);
}

std::vector<String> languagesOfAccount(std::string_view keyFile) {
  std::map<std::string_view, std::string_view> user;
  std::string_view section;
  forEachPart(keyFile, '\n', [&](std::string_view line) {
    line = trimmed(line);
    if (line.starts_with('[')) section = line;
    const std::optional<Assignment> assignment = assignmentIn(line);
    if (assignment && section == "[User]") user[assignment->key] = assignment->value;
  });
  std::vector<String> languages = languagesOfList(user["Languages"], ';');
  return languages.empty() ? languagesOfList(user["Language"], ';') : languages;
}

std::vector<String> languagesOfSystem(std::string_view localeFile) {
  std::map<std::string_view, std::string_view> settings;
  forEachPart(localeFile, '\n', [&](std::string_view line) {
    if (const std::optional<Assignment> assignment = assignmentIn(trimmed(line))) {
      settings[assignment->key] = unquoted(assignment->value);
    }
  });
  std::string_view locale;
  for (const std::string_view key : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (locale.empty()) locale = settings[key];
  }
  const String language = languageOfLocale(locale);
  if (!language) return {};
  std::vector<String> languages = languagesOfList(settings["LANGUAGE"], ':');
  return languages.empty() ? std::vector<String>{language} : languages;
}

}  // namespace sifterra::platform
