// Tokenizer.h: the words of a text, as the engine counts them.
//
// The trainer and the library share this code; its version is stored in the map, so that a map never meets
// words that were cut in another way. Nothing here knows a vocabulary: what becomes of a word that the map
// does not know is decided afterwards (WordSplitter.h, NGrams.h).
//
// What comes out is normalised (NFKC), case-folded UTF-8:
//   words          runs of letters, marks and digits of at most 64 characters
//   pieces         two characters of Chinese, Japanese or Korean, three of Thai, Lao, Khmer or Burmese; also
//   over
//                  one blank where a run of them is too short for a piece
//   numbers        18, 21, 69 and 2257 as they are, others by their number of digits, "#1" to "#6"
//   variants       the reading of a disguised word, after the plain one: p0rn -> porn, p o r n -> porn
//   atoms          tokens with seven or more "o" in a row: signature and marker words, taken as they are
//
// No token spans a line feed: a text gives the same tokens whole or in pieces cut after a line feed.
//
//   Tokenizer tokenizer;
//   tokenizer.tokenize(u"Some text", sink);  // sink.token(...) for every token, in order
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lsm/Token.h"
#include "lsm/WordEmitter.h"

namespace sifterra::lsm {

// Raised with every change that can alter a token.
inline constexpr std::uint32_t kTokenizerVersion = 3;

// Holds nothing but buffers that are used again; one thread at a time.
class Tokenizer {
 public:
  // From now on disguised words are left as they are: what benchmarks measure the reading of them against.
  void leaveDisguises() noexcept { _emitter.leaveDisguises(); }
  // The tokens of a whole text, line by line. Lone surrogates part words.
  void tokenize(std::u16string_view text, TokenSink& sink);
  // The tokens of one line; `line` holds no line feed.
  void tokenizeLine(std::u16string_view line, TokenSink& sink);

 private:
  // A run of more characters is cut: bounds what one run costs in memory. Words are shorter by far.
  static constexpr std::size_t kMaxRun = 1024;

  [[nodiscard]] std::size_t readAsciiRun(std::u16string_view line, std::size_t from);
  void asciiRun(std::string_view run, unsigned kinds, bool stretched);
  void asciiWords(std::string_view run);
  void disguises(std::string_view run);
  [[nodiscard]] std::size_t readRun(std::u16string_view line, std::size_t from);
  void fold(std::u16string_view run);
  void run();
  void addPiece(char32_t c, std::size_t size, WordScript script);
  void endWord();
  void handOverWord();
  void handOverPiece();
  void endPieces();
  void handOverOverGap();
  // What stands between words.
  void gap(char32_t c, bool joiner) {
    const bool blank = c <= U' ' || c == U'\u00a0' || (c >= U'\u2000' && c <= U'\u200a');
    _emitter.gap(!joiner ? WordEmitter::kNoJoiner : blank ? U' ' : c);
    if (_before.size != 0 && (!joiner || ++_before.gap > 1)) endPieceRow();
  }
  // Something else than pieces follows.
  void endPieceRow();

  WordEmitter _emitter;
  std::array<char, kMaxRun + 8> _folded{};  // the run being read, folded, while it is ASCII
  std::u32string _characters;               // else
  std::string _ascii;                       // the part of it that is ASCII after all
  std::u16string _visible;                  // a run that is to be normalised, without what vanishes
  std::u16string _form;                     // and when it is
  std::u32string _word;                     // the word being read
  std::size_t _lastPart = 0;                // where it goes on after its last apostrophe; 0: it has none
  std::array<char32_t, 3> _piece{};         // characters of the piece being read
  std::array<WordScript, 3> _pieceScripts{};
  std::size_t _pieceSize = 0;
  bool _pieceHandedOver = false;  // of this run
  // The end of the run of pieces before the gap that is being read: all of it when it was too short.
  struct PieceRunEnd {
    std::array<char32_t, 2> characters{};
    std::array<WordScript, 2> scripts{};
    std::size_t size = 0;  // 0: there is none
    std::size_t gap = 0;   // characters since
    bool handedOver = false;
  };
  PieceRunEnd _before;
};

}  // namespace sifterra::lsm
