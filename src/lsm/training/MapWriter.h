// MapWriter.h: writes map files.
//
// The trainer fills MapContents in plain floats; writing quantises the rows and lays the file out. The same
// contents give the same bytes. docs/map-format.md describes the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lsm/LsmEngine.h"
#include "lsm/NGrams.h"
#include "lsm/Tokenizer.h"
#include "lsm/WordScript.h"
#include "lsm/training/MapMemory.h"

namespace sifterra::lsm {

// A known word. Its row is the composite one: G(w) v(w) and the word's own n-gram term.
struct MapWord {
  std::string text;     // as the tokeniser hands it over
  float weight = 0;     // G(w), 0 to 1; for the word dump, the row holds it already
  float splitCost = 0;  // -ln(df / N), at least 0; infinity: the word is never a piece of another
  // Of the pages with the word, the share that is of the last category; kept with the memory.
  float lastShare = 0.5f;
};

// A key (NearWords.h) under which a word is found that is written with one mistake.
struct NearKey {
  std::uint64_t key = 0;
  std::uint32_t word = 0;  // among the words
};

// What a map holds. k values make a row; rows stand one after the other.
struct MapContents {
  LsmProperties properties;                         // may be empty: the map then has no dictionary
  std::uint32_t categoryCount = 2;                  // n
  std::uint32_t rank = 0;                           // k
  std::uint32_t bucketCount = kDefaultBucketCount;  // B, a power of two
  std::vector<MapWord> words;                       // V
  std::vector<float> wordRows;                      // V x k: u(w)
  std::vector<float> bucketRows;                    // B x k: b(h) = lambda G(h) v(h)
  std::vector<float> head;                          // n x k: beta
  std::vector<float> bias;                          // n: b
  WordScriptSet scripts = kAllWordScripts;          // the scripts that contribute words
  std::uint32_t windowTokens =
      512;                        // even; a text with more tokens is also judged by windows, half overlapping
  std::uint32_t bestWindows = 3;  // so many of them are averaged
  float windowPenalty = 4.0f;     // delta, taken off their log-odds
  std::vector<float> partPenalties;  // of head, labels and content; empty: they are not judged by themselves
  std::vector<NearKey> nearKeys;     // may be empty: no unknown word is then taken for a known one
  std::uint32_t partTokens = 1;      // a part of fewer units is not judged
  MapMemory memory;                  // may be empty
};

// What a map holds, the rows as the engine reads them. A map without a memory, or with one that does not
// agree with itself, has an empty one, and `noMemory` says why.
[[nodiscard]] MapContents contentsOf(const Map& map, std::string* noMemory = nullptr);

// The file's bytes; empty, with `why`, when the contents do not make a map (sizes that disagree, a number
// that is not finite, a word twice or empty).
[[nodiscard]] std::string mapFileBytes(const MapContents& contents, std::string& why);
// The map that the file would hold; null, with `why`, when there is none.
[[nodiscard]] LsmMap mapOf(const MapContents& contents, std::string& why);
// Writes the file: a new one beside it, flushed to the disk, then renamed over `path`, so that a reader sees
// the old map or the new one. False, with `why`, when that fails; the old file is then untouched.
[[nodiscard]] bool writeMapFile(const std::string& path, const MapContents& contents, std::string& why);

}  // namespace sifterra::lsm
