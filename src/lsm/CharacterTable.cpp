#include "lsm/CharacterTable.h"

#include <memory>
#include <string>
#include <string_view>

#include "platform/CharacterProperties.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {
namespace {

struct ScriptPair {
  platform::Script of;
  WordScript is;
};
constexpr ScriptPair kScripts[] = {
    {platform::Script::Latin, WordScript::kLatin},
    {platform::Script::Greek, WordScript::kGreek},
    {platform::Script::Cyrillic, WordScript::kCyrillic},
    {platform::Script::Han, WordScript::kHan},
    {platform::Script::Hangul, WordScript::kHangul},
    {platform::Script::Thai, WordScript::kThai},
    {platform::Script::Lao, WordScript::kLao},
    {platform::Script::Khmer, WordScript::kKhmer},
    {platform::Script::Myanmar, WordScript::kMyanmar},
    {platform::Script::Arabic, WordScript::kArabic},
    {platform::Script::Hebrew, WordScript::kHebrew},
    {platform::Script::Devanagari, WordScript::kDevanagari},
    {platform::Script::Bengali, WordScript::kBengali},
    {platform::Script::Tamil, WordScript::kTamil},
    {platform::Script::Telugu, WordScript::kTelugu},
    {platform::Script::Gujarati, WordScript::kGujarati},
    {platform::Script::Gurmukhi, WordScript::kGurmukhi},
    {platform::Script::Kannada, WordScript::kKannada},
    {platform::Script::Malayalam, WordScript::kMalayalam},
    {platform::Script::Sinhala, WordScript::kSinhala},
    {platform::Script::Georgian, WordScript::kGeorgian},
    {platform::Script::Armenian, WordScript::kArmenian},
    {platform::Script::Ethiopic, WordScript::kEthiopic},
    {platform::Script::Tibetan, WordScript::kTibetan},
    {platform::Script::Mongolian, WordScript::kMongolian},
    {platform::Script::Hiragana, WordScript::kKana},
    {platform::Script::Katakana, WordScript::kKana},
};

WordScript scriptOf(char32_t c) {
  // The sound mark that Hiragana and Katakana share.
  if (c == U'\u30fc') return WordScript::kKana;
  const platform::Script script = platform::unicodeScript(c);
  for (const ScriptPair& pair : kScripts) {
    if (pair.of == script) return pair.is;
  }
  return WordScript::kOther;
}

bool isJoiner(char32_t c) {
  constexpr std::u32string_view kJoiners =
      U" .*|/_-\u00b7\u2010\u2011\u2012\u2013\u2014\u2015\u2212\u2022\u30fb";
  return kJoiners.find(c) != std::u32string_view::npos || platform::isWhitespaceOrNewline(c);
}

bool isApostrophe(char32_t c) {
  return c == U'\'' || c == U'\u2019' || c == U'\u02bc';
}

// Their letters are a sign behind a word, not a part of it.
bool isTradeSign(char32_t c) {
  return c == U'\u2122' || c == U'\u2120';
}

CharacterClass classOfWordCharacter(char32_t c, WordScript script) {
  if (platform::isDecimalDigit(c)) return CharacterClass::kDigit;
  switch (script) {
    case WordScript::kHan:
    case WordScript::kKana:
    case WordScript::kHangul:
      return CharacterClass::kPairs;
    case WordScript::kThai:
    case WordScript::kLao:
    case WordScript::kKhmer:
    case WordScript::kMyanmar:
      return CharacterClass::kTriples;
    default:
      break;
  }
  return platform::isMark(c) ? CharacterClass::kMark : CharacterClass::kLetter;
}

Character separator(char32_t c, CharacterClass kind = CharacterClass::kSeparator) {
  return {c, kind, WordScript::kOther, true};
}

bool isWordCharacter(char32_t c) {
  return platform::isLetter(c) || platform::isDecimalDigit(c);
}

// A character whose form is several: what it is then shows in the form.
bool formHoldsWord(std::u16string_view form) {
  for (std::size_t i = 0; i < form.size();) {
    if (isWordCharacter(platform::nextCharacter(form, i))) return true;
  }
  return false;
}

Character describe(char32_t c) {
  if ((c >= 0xD800 && c <= 0xDFFF) || isTradeSign(c)) return separator(c);
  if (isApostrophe(c)) return separator(c, CharacterClass::kApostrophe);
  if (c == U'\n') return separator(c);
  if (isJoiner(c)) return separator(c, CharacterClass::kJoiner);
  if (platform::isFormatCharacter(c)) return separator(c, CharacterClass::kIgnorable);

  std::u16string source;
  platform::appendCharacter(c, source);
  std::u16string form;
  platform::appendNFKCCaseFolded(source, form);
  if (form.empty()) return separator(c, CharacterClass::kIgnorable);
  std::size_t end = 0;
  const char32_t folded = platform::nextCharacter(form, end);
  if (end == form.size()) {
    if (isApostrophe(folded)) return separator(c, CharacterClass::kApostrophe);
    if (isJoiner(folded)) return separator(c, CharacterClass::kJoiner);
    const bool alone = platform::normalizesAlone(c);
    const bool word = isWordCharacter(folded) || platform::isMark(folded);
    // A sign that joins with what stands before it still has to be normalised together with that.
    if (!word) return {folded, CharacterClass::kSeparator, WordScript::kOther, alone};
    const WordScript script = scriptOf(folded);
    return {folded, classOfWordCharacter(folded, script), script, alone};
  }
  if (!formHoldsWord(form)) {
    const bool mark = platform::isMark(c);
    return {c, mark ? CharacterClass::kMark : CharacterClass::kSeparator, WordScript::kOther, !mark};
  }
  // The class only keeps it inside its run; the run's normalised form is looked up again.
  return {c, CharacterClass::kLetter, WordScript::kOther, false};
}

}  // namespace

// Constant initialisation: usable before and after everything else in the process.
constinit std::array<std::atomic<const CharacterPage*>, 0x110000 / kCharactersPerPage> characterPages{};

const CharacterPage* makeCharacterPage(std::size_t number) {
  auto page = std::make_unique<CharacterPage>();
  for (std::size_t i = 0; i < page->size(); ++i) {
    (*page)[i] = describe(static_cast<char32_t>(number * kCharactersPerPage + i));
  }
  // Two threads may make the same page; the first to publish it wins and all use that one for ever.
  const CharacterPage* expected = nullptr;
  if (characterPages[number].compare_exchange_strong(expected, page.get(), std::memory_order_acq_rel)) {
    return page.release();
  }
  return expected;
}

}  // namespace sifterra::lsm
