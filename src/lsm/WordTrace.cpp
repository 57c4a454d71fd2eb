#include "lsm/WordTrace.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "lsm/Tokenizer.h"
#include "lsm/line_end.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {
namespace {

struct ReadToken {
  std::string text;
  TokenKind kind;
  WordScript script;
  std::uint8_t characters;

  [[nodiscard]] Token token() const { return {text, kind, script, characters}; }
};

class Recorder final : public TokenSink {
 public:
  void token(const Token& token) override {
    tokens.push_back({std::string(token.text), token.kind, token.script, token.characters});
  }
  std::vector<ReadToken> tokens;
};

// What stands between two blanks.
struct Chunk {
  std::size_t from;  // in the line
  std::size_t to;
};

bool isBlank(char16_t c) noexcept {
  return c <= u' ';
}

std::vector<Chunk> chunksOf(std::u16string_view line) {
  std::vector<Chunk> chunks;
  for (std::size_t i = 0; i < line.size();) {
    while (i < line.size() && isBlank(line[i])) ++i;
    const std::size_t from = i;
    while (i < line.size() && !isBlank(line[i])) ++i;
    if (i > from) chunks.push_back({from, i});
  }
  return chunks;
}

std::size_t lettersIn(std::u16string_view text) {
  std::size_t letters = 0;
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = platform::nextCharacter(text, i);
    letters += platform::isLetter(c) || platform::isDecimalDigit(c) ? 1U : 0U;
  }
  return letters;
}

class Tracer {
 public:
  explicit Tracer(const Text& text) : text_(text), source_(text.source()) {}

  WordTrace trace() {
    std::u16string_view lastLine;
    std::size_t lastStart = 0;
    std::size_t firstOfLast = 0;
    for (std::size_t start = 0; start < source_.size() && complete_;) {
      const std::u16string_view line = source_.substr(start, lineEnd(source_.substr(start)));
      const std::size_t first = trace_.origins.size();
      if (!line.empty() && line == lastLine) {
        repeat(firstOfLast, first, start - lastStart);
      } else {
        traceLine(line, start);
      }
      lastLine = line;
      lastStart = start;
      firstOfLast = first;
      start += line.size() + 1;
    }
    joinOrigins();
    return std::move(trace_);
  }

 private:
  // A title stands in the text fifteen times: its origins are those of its first line, further on.
  void repeat(std::size_t from, std::size_t to, std::size_t distance) {
    for (std::size_t i = from; i < to; ++i) {
      const UnitOrigin origin = trace_.origins[i];
      add(text_.readSequence()[i], {origin.from + distance, origin.to + distance, origin.token});
    }
  }

  void traceLine(std::u16string_view line, std::size_t start) {
    Recorder whole;
    tokenizer_.tokenizeLine(line, whole);
    const std::vector<Chunk> chunks = chunksOf(line);
    const std::vector<Chunk> places = placesOf(line, chunks, whole.tokens);
    for (std::size_t i = 0; i < whole.tokens.size(); ++i) {
      const std::uint32_t token = numberOf(whole.tokens[i].text);
      for (const std::uint32_t unit : text_.unitsOf(whole.tokens[i].token()))
        add(unit, {start + places[i].from, start + places[i].to, token});
    }
  }

  // The chunk, or chunks, that each token of the line comes from. A token that no single chunk gives was put
  // together out of several ("p o r n"): of as many chunks before it as hold its letters.
  std::vector<Chunk> placesOf(std::u16string_view line, const std::vector<Chunk>& chunks,
                              const std::vector<ReadToken>& tokens) {
    constexpr std::size_t kLookAhead = 4;
    constexpr std::size_t kMostChunks = 4 * kMaxWordCharacters;
    std::vector<Chunk> places(tokens.size(), Chunk{0, line.size()});
    std::size_t at = 0;
    const auto putTogether = [&](std::size_t token, std::size_t chunkEnd) {
      std::size_t letters = 0;
      std::size_t first = chunkEnd;
      while (first > 0 && letters < tokens[token].characters && chunkEnd - first < kMostChunks) {
        --first;
        letters += lettersIn(line.substr(chunks[first].from, chunks[first].to - chunks[first].from));
      }
      if (first < chunkEnd) places[token] = {chunks[first].from, chunks[chunkEnd - 1].to};
    };
    for (std::size_t c = 0; c < chunks.size(); ++c) {
      Recorder alone;
      tokenizer_.tokenizeLine(line.substr(chunks[c].from, chunks[c].to - chunks[c].from), alone);
      for (const ReadToken& token : alone.tokens) {
        std::size_t found = at;
        while (found < tokens.size() && found < at + kLookAhead && tokens[found].text != token.text) ++found;
        if (found == tokens.size() || found == at + kLookAhead) continue;
        for (; at < found; ++at) putTogether(at, c);
        places[at++] = chunks[c];
      }
    }
    for (; at < tokens.size(); ++at) putTogether(at, chunks.size());
    return places;
  }

  std::uint32_t numberOf(const std::string& token) {
    const auto [found, isNew] = numbers_.emplace(token, static_cast<std::uint32_t>(trace_.tokens.size()));
    if (isNew) trace_.tokens.push_back(token);
    return found->second;
  }

  void add(std::uint32_t unit, const UnitOrigin& origin) {
    const std::size_t at = trace_.origins.size();
    complete_ = complete_ && at < text_.readSequence().size() && text_.readSequence()[at] == unit;
    if (complete_) trace_.origins.push_back(origin);
  }

  // What was read as one word comes from where its parts do. A part that says nothing by itself has no
  // origin of its own: it stands somewhere between the neighbours.
  void joinOrigins() {
    if (text_.joins().empty() || trace_.origins.size() != text_.readSequence().size()) return;
    const std::vector<UnitOrigin> read = std::move(trace_.origins);
    std::vector<UnitOrigin> origins;
    std::size_t at = 0;
    for (const WordJoin& join : text_.joins()) {
      for (; at < join.from; ++at) origins.push_back(read[at]);
      std::size_t from = join.from > 0 ? read[join.from - 1].to : 0;
      std::size_t to = join.to < read.size() ? read[join.to].from : source_.size();
      if (join.to - join.from > 1 || (join.from < join.to && from >= to)) {
        from = read[join.from].from;
        to = read[join.to - 1].to;
      } else if (from >= to) {  // all in one run of characters
        from = join.from > 0 ? read[join.from - 1].from : 0;
        to = join.from > 0 ? read[join.from - 1].to : source_.size();
      }
      origins.push_back({from, to, numberOf(std::string(text_.map()->word(join.word)))});
      at = join.to;
    }
    origins.insert(origins.end(), read.begin() + static_cast<std::ptrdiff_t>(at), read.end());
    trace_.origins = std::move(origins);
  }

  const Text& text_;
  std::u16string_view source_;
  Tokenizer tokenizer_;
  WordTrace trace_;
  std::unordered_map<std::string, std::uint32_t> numbers_;
  bool complete_ = true;
};

}  // namespace

WordTrace traceWords(const Text& text) {
  return Tracer(text).trace();
}

std::string shownText(std::u16string_view source) {
  std::u16string shown;
  bool blank = false;
  for (std::size_t i = 0; i < source.size();) {
    const char32_t c = platform::nextCharacter(source, i);
    if (c < 0x20 || c == 0x7F || (c >= 0x80 && c < 0xA0) || c == U'<' || c == U'>' || c == U'&' ||
        platform::isWhitespaceOrNewline(c)) {
      blank = !shown.empty();
      continue;
    }
    if (blank) shown += u' ';
    blank = false;
    platform::appendCharacter(platform::isFormatCharacter(c) ? U'\u00B7' : c, shown);
  }
  return platform::utf8FromUTF16(shown);
}

}  // namespace sifterra::lsm
