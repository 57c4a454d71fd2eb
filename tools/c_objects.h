// c_objects: handles of the C interface that let go of their object.
#pragma once

#include <memory>
#include <string_view>

#include "sifterra/platform/String.h"
#include "sifterra/sifterra.h"

namespace sifterra::tools {

struct ReleaseObject {
  void operator()(const void* object) const noexcept { WFRelease(object); }
};
using CString = std::unique_ptr<const struct WFString, ReleaseObject>;
using CData = std::unique_ptr<const struct WFData, ReleaseObject>;
using CURL = std::unique_ptr<const struct WFURL, ReleaseObject>;

[[nodiscard]] inline CData dataObject(std::string_view bytes) {
  return CData(WFDataCreate(bytes.data(), bytes.size()));
}

// Null for null.
[[nodiscard]] inline CString stringObject(const platform::String& text) {
  if (!text) return nullptr;
  return CString(
      WFStringCreateWithUTF16(reinterpret_cast<const std::uint16_t*>(text.view().data()), text.length()));
}

}  // namespace sifterra::tools
