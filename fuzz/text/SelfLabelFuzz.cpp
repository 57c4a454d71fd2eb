// The scanner of self-labels against the plain reader.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "reference/fuzz_units.h"
#include "reference/plain_self_label.h"
#include "text/self_label.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace sifterra;
  if (size > 2048) return 0;  // the plain reader takes quadratic time
  const std::u16string text = reference::unitsFrom(data, size);
  std::map<std::u16string, std::int32_t> levels;
  for (const auto& [code, level] : safeSurfLevels(text)) levels.emplace(code, level);
  if (levels != reference::PlainLabelReader(text).levels()) std::abort();
  if (!hasSafeSurfLabel(text) && levels.size() > 1) std::abort();
  return 0;
}
