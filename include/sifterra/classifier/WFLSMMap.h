// WFLSMMap: a category map, which turns a page's word text into a classification.
//
// Wraps a map of the latent semantic mapping engine with the threshold that goes with it.
//
//   std::shared_ptr<WFLSMMap> map = WFLSMScoreNormalizedMap::mapFromFilePath(path);
//   std::shared_ptr<WFLSMResult> result = map ? map->evaluate(text) : nullptr;
//
// A map does not change once it is made and serves any number of threads. The class is also the interface
// for anything that evaluates text: derive from it and replace evaluate().
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "sifterra/classifier/WFExplanation.h"
#include "sifterra/classifier/WFLSMResult.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

namespace lsm {
class Map;
class Text;
}  // namespace lsm

class WF_API WFLSMMap {
 public:
  virtual ~WFLSMMap();
  WFLSMMap(const WFLSMMap&) = delete;
  WFLSMMap& operator=(const WFLSMMap&) = delete;

  // A map object on an engine's map; null for null.
  [[nodiscard]] static std::shared_ptr<WFLSMMap> mapWithMap(std::shared_ptr<const lsm::Map> map);
  // From a map file (a relative path starts at the current directory); null, with an error line, when there
  // is none or it does not load.
  [[nodiscard]] static std::shared_ptr<WFLSMMap> mapFromURL(const platform::URL& url);
  [[nodiscard]] static std::shared_ptr<WFLSMMap> mapFromFilePath(const platform::String& path);

  // Categories are numbered from 1 to this; the last is the adult one.
  [[nodiscard]] std::int64_t numberOfCategories() const;
  // What the score of the adult category must exceed.
  [[nodiscard]] float threshold() const noexcept { return _threshold; }

  // The scores of the text; null, with an error line, when there are none.
  [[nodiscard]] virtual std::shared_ptr<WFLSMResult> evaluate(const platform::String& text) const;

  // The engine's lines on what pushed the text each way, sorted in reverse: what speaks most for the last
  // category comes first. Null when it cannot be made. For diagnosis: goes through files in /tmp and a shell
  // command, one dump at a time.
  [[nodiscard]] platform::String wordDump(const platform::String& text) const;
  // The same for a program; null, with an error line, when there is none.
  [[nodiscard]] std::shared_ptr<const WFExplanation> explain(const platform::String& text) const;

 protected:
  WFLSMMap() = default;
  // False when the map is null, and then the object is of no use.
  virtual bool initWithMap(std::shared_ptr<const lsm::Map> map);

  // mapWithMap for an object of the class M: derived classes make their own with it.
  template <class M>
  [[nodiscard]] static std::shared_ptr<M> make(std::shared_ptr<const lsm::Map> map) {
    std::shared_ptr<M> object(new M);
    if (!object->initWithMap(std::move(map))) return nullptr;
    return object;
  }
  // The engine's map at the URL; null, with an error line, when there is none or it does not load.
  [[nodiscard]] static std::shared_ptr<const lsm::Map> load(const platform::URL& url);
  // The file URL of a path; a relative path starts at the current directory.
  [[nodiscard]] static platform::URL fileURLForPath(const platform::String& path);

 private:
  using Text = std::unique_ptr<lsm::Text, void (*)(lsm::Text*)>;
  [[nodiscard]] Text _createLSMTextFromString(const platform::String& string) const;
  [[nodiscard]] Text createText(const platform::String& string, bool explained) const;

  std::shared_ptr<const lsm::Map> _lsmMap;
  float _threshold = 0.62F;
};

}  // namespace sifterra
