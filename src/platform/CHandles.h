// CHandles.h: the objects behind WFStringRef, WFURLRef and WFDataRef.
//
// Each is a reference count and the C++ value. Conversions at the C edge go through here.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"
#include "sifterra/sifterra.h"

namespace sifterra::platform {

// The C++ value of a handle; null for NULL.
[[nodiscard]] String stringFromHandle(WFStringRef handle);
[[nodiscard]] URL urlFromHandle(WFURLRef handle);
[[nodiscard]] Data dataFromHandle(WFDataRef handle);

// A new handle that the caller owns; NULL for null.
[[nodiscard]] WFStringRef createHandle(const String& value);
[[nodiscard]] WFURLRef createHandle(const URL& value);
[[nodiscard]] WFDataRef createHandle(const Data& value);

// A handle that belongs to the current release scope; NULL for null.
[[nodiscard]] WFStringRef borrowedHandle(const String& value);

}  // namespace sifterra::platform
