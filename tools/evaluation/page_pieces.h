// page_pieces: a page's HTML cut into markup and the text that a reader meets, to put other text in its
// place.
//
//   std::vector<PagePiece> pieces = pagePieces(html);
//   for (PagePiece& piece : pieces) {
//     if (piece.place == TextPlace::kTitle) piece.text = "Bread";
//   }
//   std::string other = pageOf(pieces);
//
// A plain scanner: what it does not take for text stays as it is, byte for byte. Scripts, styles and comments
// are markup.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::tools {

enum class TextPlace : std::uint8_t {
  kMarkup,       // no text; also text that is given as HTML
  kTitle,        // of the page
  kDescription,  // the content of <meta name="description">
  kKeywords,     // the content of <meta name="keywords">
  kAlt,          // an image's alternative text
  kTip,          // the title of a link or any other element
  kText,         // of the body
};

struct PagePiece {
  TextPlace place;
  std::string text;  // UTF-8; without references ("&amp;") unless it is markup
};

// Cuts UTF-8.
[[nodiscard]] std::vector<PagePiece> pagePieces(std::string_view html);
// The page again, its text escaped.
[[nodiscard]] std::string pageOf(const std::vector<PagePiece>& pieces);
// Text as HTML.
[[nodiscard]] std::string escapedText(std::string_view text);

}  // namespace sifterra::tools
