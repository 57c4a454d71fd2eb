#include "evaluation/DisguiseTexts.h"

#include <algorithm>
#include <utility>

#include "evaluation/page_pieces.h"

namespace sifterra::tools {
namespace {

constexpr std::uint32_t kFewestPages = 2;      // adult ones that hold a telling word
constexpr std::uint32_t kTimesAsOften = 3;     // in adult pages as in legitimate ones
constexpr std::size_t kMostCandidates = 4096;  // legitimate pages kept as ordinary text, and bytes of each
constexpr std::size_t kMostText = 16384;
constexpr std::size_t kLeastText = 200;
constexpr std::size_t kTellingShare = 50;  // an ordinary page has fewer than one telling word in so many

// Up to about so many bytes, cut at a blank.
std::string shortened(const std::string& text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  const std::size_t blank = text.rfind(' ', bytes);
  if (blank != std::string::npos) return text.substr(0, blank);
  std::size_t end = bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end);
}

void appendBlock(std::string& text, const std::string& more) {
  if (!text.empty()) text += '\n';
  text += more;
}

OrdinaryPage textsOf(const std::vector<PagePiece>& pieces) {
  OrdinaryPage page;
  for (const PagePiece& piece : pieces) {
    if (piece.place == TextPlace::kTitle) page.title = piece.text;
    if (piece.place == TextPlace::kDescription) page.description = piece.text;
    if (piece.place == TextPlace::kKeywords) page.keywords = piece.text;
    if (piece.place == TextPlace::kText && page.text.size() < kMostText) appendBlock(page.text, piece.text);
  }
  page.text = shortened(page.text, kMostText);
  return page;
}

// Adult pages forge the head of an ordinary page: what it lacks is made of what it has.
void completeHead(OrdinaryPage& page) {
  constexpr std::size_t kDescription = 160;
  constexpr std::size_t kTitle = 60;
  if (page.title.empty()) page.title = shortened(page.text, kTitle);
  if (page.description.empty()) page.description = shortened(page.text, kDescription);
  if (!page.keywords.empty()) return;
  for (const WordRun& run : wordRuns(page.title)) {
    if (run.kind == WordRun::Kind::kGap) continue;
    if (!page.keywords.empty()) page.keywords += ", ";
    page.keywords += run.text();
  }
}

}  // namespace

void DisguiseTexts::add(std::string_view html, const std::string& language, bool adult) {
  const std::vector<PagePiece> pieces = pagePieces(html);
  std::unordered_set<std::string> words;
  for (const PagePiece& piece : pieces) {
    if (piece.place == TextPlace::kMarkup) continue;
    for (const WordRun& run : wordRuns(piece.text)) {
      for (std::string& key : wordKeys(run)) words.insert(std::move(key));
    }
  }
  for (const std::string& word : words) {
    Counts& counts = counts_[word];
    ++(adult ? counts.adult : counts.legitimate);
  }
  ++(adult ? adultPages_ : legitimatePages_);
  if (adult || candidates_.size() >= kMostCandidates) return;
  OrdinaryPage page = textsOf(pieces);
  if (page.text.size() >= kLeastText) candidates_.emplace_back(std::move(page), language);
}

void DisguiseTexts::finish() {
  // As if one more page of either kind had held every word: a word that no legitimate page holds is not
  // infinitely more frequent.
  for (const auto& [word, counts] : counts_) {
    const std::uint64_t adult = std::uint64_t{counts.adult} * (legitimatePages_ + 1);
    const std::uint64_t legitimate = std::uint64_t{counts.legitimate + 1} * (adultPages_ + 1);
    if (counts.adult >= kFewestPages && adult >= kTimesAsOften * legitimate) telling_.insert(word);
  }
  counts_.clear();
  for (auto& [page, language] : candidates_) {
    if (!isOrdinary(page)) continue;
    completeHead(page);
    byLanguage_[""].push_back(ordinary_.size());
    if (!language.empty()) byLanguage_[language].push_back(ordinary_.size());
    ordinary_.push_back(std::move(page));
  }
  candidates_.clear();
}

bool DisguiseTexts::isOrdinary(const OrdinaryPage& page) const {
  std::size_t all = 0;
  std::size_t telling = 0;
  for (const std::string* text : {&page.title, &page.description, &page.keywords, &page.text}) {
    for (const WordRun& run : wordRuns(*text)) {
      for (const std::string& key : wordKeys(run)) {
        ++all;
        telling += tells(key) ? 1U : 0U;
      }
    }
  }
  return telling * kTellingShare < all;
}

const std::vector<std::size_t>& DisguiseTexts::choice(const std::string& language) const {
  const auto found = byLanguage_.find(language);
  return found != byLanguage_.end() ? found->second : byLanguage_.at("");
}

const OrdinaryPage& DisguiseTexts::ordinaryPage(const std::string& language, std::uint64_t number) const {
  const std::vector<std::size_t>& pages = choice(language);
  return ordinary_[pages[number % pages.size()]];
}

std::string DisguiseTexts::ordinaryText(const std::string& language, std::uint64_t number,
                                        std::size_t bytes) const {
  std::string text;
  while (text.size() < bytes) {
    std::string more = ordinaryPage(language, number++).text;
    const std::size_t missing = bytes - text.size();
    if (more.size() > missing) more = shortened(more, std::max(missing, std::size_t{64}));
    appendBlock(text, more);
  }
  return text;
}

}  // namespace sifterra::tools
