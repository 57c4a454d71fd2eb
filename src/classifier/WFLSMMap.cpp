// WFLSMMap: the engine's operations in the order that an evaluation needs, with a log line for each that
// fails. The word dump's way through files and the shell is in word_dump.cpp.
#include "sifterra/classifier/WFLSMMap.h"

#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <variant>

#include "classifier/explanation.h"
#include "classifier/word_dump.h"
#include "lsm/LsmEngine.h"
#include "platform/FileSystem.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;
using platform::URL;

// The threshold among the map's properties; nothing when they do not hold one.
const float* explicitThreshold(const lsm::LsmProperties& properties) {
  const auto found = properties.find(lsm::kLsmExplicitThreshold);
  return found == properties.end() ? nullptr : std::get_if<float>(&found->second);
}

}  // namespace

WFLSMMap::~WFLSMMap() = default;

std::shared_ptr<WFLSMMap> WFLSMMap::mapWithMap(std::shared_ptr<const lsm::Map> map) {
  return make<WFLSMMap>(std::move(map));
}

std::shared_ptr<WFLSMMap> WFLSMMap::mapFromURL(const URL& url) {
  return mapWithMap(load(url));
}

std::shared_ptr<WFLSMMap> WFLSMMap::mapFromFilePath(const String& path) {
  return mapFromURL(fileURLForPath(path));
}

URL WFLSMMap::fileURLForPath(const String& path) {
  if (!path || path.view().starts_with(u'/')) return URL::fileURL(path);
  std::error_code ignored;  // without a current directory the path stays as it is, and is not found
  return URL::fileURL(String::fromUTF8Lossy(std::filesystem::absolute(path.toUTF8(), ignored).string()));
}

std::shared_ptr<const lsm::Map> WFLSMMap::load(const URL& url) {
  constexpr auto kOp = "+[WFLSMMap mapFromURL:]";
  const auto name = [&] { return url.absoluteString(); };
  const std::string path = url.filePath().toUTF8();
  if (path.find('\0') != std::string::npos || !platform::isRegularFile(path)) {
    logError("%s -- Map file doesn't exist at %{public}@", kOp, name);
    return nullptr;
  }
  std::string why;
  lsm::LsmMap map = lsm::lsmMapLoad(path, 0, &why);
  if (map) return map;
  logError("%s -- An error occurred loading the map from %{public}@", kOp, name);
  if (!why.empty()) {
    logError("%s -- The map was refused: %{public}@", kOp, [&] { return String::fromUTF8Lossy(why); });
  }
  return nullptr;
}

bool WFLSMMap::initWithMap(std::shared_ptr<const lsm::Map> map) {
  constexpr auto kOp = "-[WFLSMMap initWithMap:]";
  if (!map) return false;
  _lsmMap = std::move(map);
  const auto properties = lsm::lsmMapProperties(_lsmMap);
  if (const float* threshold = properties ? explicitThreshold(*properties) : nullptr) {
    _threshold = *threshold;
    logInfo("%s -- Threshold from LSM map: %f", kOp, _threshold);
  }
  return true;
}

std::int64_t WFLSMMap::numberOfCategories() const {
  return _lsmMap ? lsm::lsmMapCategoryCount(_lsmMap) : 0;
}

WFLSMMap::Text WFLSMMap::_createLSMTextFromString(const String& string) const {
  return createText(string, false);
}

WFLSMMap::Text WFLSMMap::createText(const String& string, bool explained) const {
  constexpr auto kOp = "-[WFLSMMap _createLSMTextFromString:]";
  const auto none = [] { return Text(nullptr, [](lsm::Text*) {}); };
  if (!string) {
    logError("%s -- Couldn't create text because the strippedContent is nil", kOp);
    return none();
  }
  Text text = lsm::lsmTextCreate(_lsmMap, explained);
  if (!text) {
    logError("%s -- EngineTextCreate failed", kOp);
    return none();
  }
  if (const int status = lsm::lsmTextAddWords(text, string.view()); status != 0) {
    logError("%s -- EngineTextAddWords failed (%d)", kOp, status);
    return none();
  }
  return text;
}

std::shared_ptr<WFLSMResult> WFLSMMap::evaluate(const String& string) const {
  constexpr auto kOp = "-[WFLSMMap evaluate:]";
  const Text text = _createLSMTextFromString(string);  // tells its own failure
  if (!text) return nullptr;
  const lsm::LsmRawResult raw = lsm::lsmEvaluate(_lsmMap, text, numberOfCategories());
  if (!raw) {
    logError("%s -- EngineResultCreate failed", kOp);
    return nullptr;
  }
  return WFLSMResult::LSMResultWithLSMResultRef(raw, _threshold);
}

String WFLSMMap::wordDump(const String& string) const {
  const Text text = createText(string, true);
  if (!text) return nullptr;
  std::ostringstream dump;
  if (!lsm::lsmWriteWordDump(_lsmMap, text, dump)) return nullptr;
  return sortedWordDump(dump.view());
}

std::shared_ptr<const WFExplanation> WFLSMMap::explain(const String& string) const {
  constexpr auto kOp = "-[WFLSMMap explain:]";
  const Text text = createText(string, true);  // tells its own failure
  if (!text) return nullptr;
  const auto explanation = lsm::lsmExplain(_lsmMap, text);
  if (explanation) return explanationOf(*explanation);
  logError("%s -- EngineExplain failed", kOp);
  return nullptr;
}

}  // namespace sifterra
