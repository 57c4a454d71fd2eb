// LsmEngine.h: the latent semantic mapping engine.
//
// A map is loaded from a file, immutable afterwards and shared freely between threads. A text
// collects the tokens of strings and belongs to one thread. Evaluating a text gives one score a category; the
// scores are softmax values and sum to 1. Categories are numbered from 1.
//
// Nothing is thrown but for lack of memory; failures are null or a status.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sifterra::lsm {

class Map;           // an opened map file
class Text;          // token counts of some text, bound to a map
struct Explanation;  // why a text got its scores (Explanation.h)
using LsmMap = std::shared_ptr<const Map>;
using LsmText = std::unique_ptr<Text, void (*)(Text*)>;

// A value of the map's property dictionary.
using LsmProperty = std::variant<float, std::string>;
using LsmProperties = std::map<std::string, LsmProperty>;
inline constexpr const char* kLsmExplicitThreshold = "Explicit Threshold";

struct LsmScore {
  std::uint32_t category;  // from 1
  float score;             // 0 to 1
};
// Operation 7: the entries of a result, best first, ties to the lower category.
struct LsmRawResult {
  std::vector<LsmScore> entries;
  bool valid = false;
  explicit operator bool() const noexcept { return valid; }
};

// 1. Opens a map file (memory-mapped). Null when it is missing, damaged, foreign or of a newer version;
// `why`, when given, then receives what was wrong. options: 0.
[[nodiscard]] LsmMap lsmMapLoad(const std::string& path, unsigned options = 0, std::string* why = nullptr);
// 2. The property dictionary; null when the map has none.
[[nodiscard]] std::unique_ptr<LsmProperties> lsmMapProperties(const LsmMap& map);
// 3. The number of categories.
[[nodiscard]] std::int64_t lsmMapCategoryCount(const LsmMap& map);
// 4. An empty text that keeps the map alive; null for a null map. One that is to be explained keeps the
// strings that are added to it.
[[nodiscard]] LsmText lsmTextCreate(const LsmMap& map, bool explained = false);
// 5. Adds the words of a string: 0, or -1 for a bad argument, -3 when memory runs out. May be called again;
// the words of two calls are those of both strings with a line feed between. Text is never ill-formed: pages
// hold lone surrogates and are judged all the same, so these only part words, and -2, "not well formed", is
// not given.
[[nodiscard]] int lsmTextAddWords(const LsmText& text, std::u16string_view words, unsigned flags = 0);
// 6. The `count` best categories of the text. Invalid when map and text do not belong together.
[[nodiscard]] LsmRawResult lsmEvaluate(const LsmMap& map, const LsmText& text, std::int64_t count,
                                       unsigned options = 0);
// 8. What pushed the text each way, in lines: "%.6f %8u %+9.4f %s" = a key to sort by, count in the stretch
// that decided, share of its log-odds, word (UTF-8) and how it is written on the page. Fixed width: sorted as
// text in reverse, in any locale, all together come first, then what speaks most for the last category; a key
// of half is no push. False when the stream fails.
bool lsmWriteWordDump(const LsmMap& map, const LsmText& text, std::ostream& stream, unsigned options = 0);
// 9. The same for a program. Null when map and text do not belong together.
[[nodiscard]] std::shared_ptr<const Explanation> lsmExplain(const LsmMap& map, const LsmText& text,
                                                            unsigned options = 0);

}  // namespace sifterra::lsm
