#include "classifier/FakeEngine.h"

#include <atomic>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace sifterra {
namespace lsm {

class Map {
 public:
  explicit Map(FakeScript itsScript) : script(std::move(itsScript)) {}
  FakeScript script;
};

class Text {
 public:
  explicit Text(int itsAddWordsStatus) : addWordsStatus(itsAddWordsStatus) { ++live; }
  ~Text() { --live; }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  std::u16string words;
  int addWordsStatus;
  static inline std::atomic<int> live{0};
};

}  // namespace lsm

namespace {

lsm::LsmMap loadable;
std::atomic<int> loads{0};
std::atomic<std::int64_t> requestedCount{-1};

}  // namespace

lsm::LsmMap fakeMap(FakeScript script) {
  return std::make_shared<const lsm::Map>(std::move(script));
}
void setLoadableMap(const lsm::LsmMap& map) {
  loadable = map;
  loads = 0;
}
int loadCount() {
  return loads;
}
int liveTexts() {
  return lsm::Text::live;
}
std::int64_t lastRequestedCount() {
  return requestedCount;
}

namespace lsm {

LsmMap lsmMapLoad(const std::string& /*path*/, unsigned /*options*/, std::string* /*why*/) {
  ++loads;
  return loadable;
}

std::unique_ptr<LsmProperties> lsmMapProperties(const LsmMap& map) {
  if (!map->script.hasProperties) return nullptr;
  return std::make_unique<LsmProperties>(map->script.properties);
}

std::int64_t lsmMapCategoryCount(const LsmMap& map) {
  return map->script.categories;
}

LsmText lsmTextCreate(const LsmMap& map, bool /*explained*/) {
  return LsmText(map->script.textFails ? nullptr : new Text(map->script.addWordsStatus),
                 [](Text* text) { delete text; });
}

int lsmTextAddWords(const LsmText& text, std::u16string_view words, unsigned /*flags*/) {
  text->words += words;
  return text->addWordsStatus;
}

LsmRawResult lsmEvaluate(const LsmMap& map, const LsmText& text, std::int64_t count, unsigned /*options*/) {
  requestedCount = count;
  if (map->script.evaluationFails) return {};
  const auto found = map->script.answers.find(text->words);
  if (found == map->script.answers.end() && map->script.evaluationThrows)
    throw std::runtime_error("the engine broke down");
  return {found == map->script.answers.end() ? map->script.otherwise : found->second, true};
}

bool lsmWriteWordDump(const LsmMap& map, const LsmText& /*text*/, std::ostream& stream,
                      unsigned /*options*/) {
  stream << map->script.dump;
  return !map->script.dumpFails;
}

std::shared_ptr<const Explanation> lsmExplain(const LsmMap& /*map*/, const LsmText& /*text*/,
                                              unsigned /*options*/) {
  return nullptr;
}

}  // namespace lsm
}  // namespace sifterra
