// PropertyListFuzz: whatever the guards let through keeps to the limits, and comes back from what is written
// of it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/property_list_guard.h"
#include "sifterra/platform/PropertyList.h"

using sifterra::platform::Data;
using sifterra::platform::PropertyList;

namespace {

void require(bool condition) {
  if (!condition) abort();
}

struct Extent {
  std::size_t depth = 0;
  std::size_t values = 1;
  bool exact = true;  // whether writing keeps it: no zero bytes, no reals, dates within a second
};

// Recursive, as deep as the list: that is the point.
Extent extentOf(const PropertyList& value) {
  using Kind = PropertyList::Kind;
  Extent extent;
  const auto add = [&](const PropertyList& part) {
    const Extent below = extentOf(part);
    extent.depth = std::max(extent.depth, below.depth);
    extent.values += below.values;
    extent.exact = extent.exact && below.exact;
  };
  for (const PropertyList& element : value.array()) add(element);
  for (const PropertyList::Entry& entry : value.dictionary()) {
    require(!entry.key.isNull());
    add(entry.value);
  }
  if (value.isArray() || value.isDictionary()) ++extent.depth;
  if (value.kind() == Kind::Null) extent.exact = false;
  if (value.kind() == Kind::String)
    extent.exact = value.string().view().find(u'\0') == std::u16string_view::npos;
  if (value.kind() == Kind::Real || value.kind() == Kind::Date) extent.exact = false;
  return extent;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const PropertyList::Reading reading =
      PropertyList::read(Data(std::string(reinterpret_cast<const char*>(data), size)));
  if (!reading.ok()) {
    require(reading.value.isNull());
    require(reading.problem.length() > 0);
    return 0;
  }
  const Extent extent = extentOf(reading.value);
  require(extent.depth <= sifterra::platform::kDeepestPropertyList);
  require(extent.values <= sifterra::platform::kMostPropertyListValues);
  const Data binary = reading.value.write(PropertyList::Format::Binary);
  if (!extent.exact || binary.isNull()) return 0;
  const PropertyList::Reading again = PropertyList::read(binary);
  require(again.ok());
  require(again.value == reading.value);
  return 0;
}
