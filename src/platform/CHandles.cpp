// CHandles: the reference counts, and the C functions that make and read handles.
//
// The functions here need no logger: all that can fail beside lack of memory is told by NULL.
#include "platform/CHandles.h"

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "platform/ReleaseScope.h"

using sifterra::platform::createHandle;
using sifterra::platform::Data;
using sifterra::platform::HandleHeader;
using sifterra::platform::HandleKind;
using sifterra::platform::String;
using sifterra::platform::URL;

struct WFURL {
  explicit WFURL(const URL& url)
      : header{HandleKind::URL, 1}, value(url), utf8(url.absoluteString().toUTF8()) {}

  HandleHeader header;
  URL value;
  std::string utf8;  // URLs are short: made at once
};

struct WFData {
  explicit WFData(const Data& data) : header{HandleKind::Data, 1}, value(data) {}

  HandleHeader header;
  Data value;
};

// WFRetain and WFRelease see an object of any kind as its header.
static_assert(offsetof(WFString, header) == 0 && offsetof(WFURL, header) == 0 &&
              offsetof(WFData, header) == 0);

namespace {

const HandleHeader* headerOf(const void* object) noexcept {
  return static_cast<const HandleHeader*>(object);
}

// The part that `slot` publishes, made on first use. Threads that meet here make one each; the first
// one stored stays and the others are dropped.
template <class T, class Make>
const T& publishOnce(std::atomic<const T*>& slot, const Make& make) {
  if (const T* there = slot.load(std::memory_order_acquire)) return *there;
  auto made = std::make_unique<const T>(make());
  const T* there = nullptr;
  if (slot.compare_exchange_strong(there, made.get(), std::memory_order_acq_rel)) there = made.release();
  return *there;
}

const String& valueOf(const WFString& object) {
  return publishOnce(object.value, [&] { return String(object.text); });
}

const std::string& utf8Of(const WFString& object) {
  return publishOnce(object.utf8, [&] { return valueOf(object).toUTF8(); });
}

void destroy(const WFString* object) noexcept {
  delete object->value.load(std::memory_order_relaxed);
  delete object->utf8.load(std::memory_order_relaxed);
  delete object;
}

// A length that no buffer can have, or no memory: no object, and nothing thrown at a C caller.
template <class Result, class Body>
Result orNull(const Body& body) noexcept {
  try {
    return body();
  } catch (...) {
    return Result{};
  }
}

}  // namespace

namespace sifterra::platform {

String stringFromHandle(WFStringRef handle) {
  return handle ? valueOf(*handle) : String();
}

URL urlFromHandle(WFURLRef handle) {
  return handle ? handle->value : URL();
}

Data dataFromHandle(WFDataRef handle) {
  return handle ? handle->value : Data();
}

WFStringRef createHandle(const String& value) {
  return value ? new WFString(value) : nullptr;
}

WFURLRef createHandle(const URL& value) {
  return value ? new WFURL(value) : nullptr;
}

WFDataRef createHandle(const Data& value) {
  return value ? new WFData(value) : nullptr;
}

WFStringRef borrowedHandle(const String& value) {
  return static_cast<WFStringRef>(ReleaseScope::adopt(createHandle(value)));
}

WFDataRef borrowedHandle(const Data& value) {
  return static_cast<WFDataRef>(ReleaseScope::adopt(createHandle(value)));
}

}  // namespace sifterra::platform

extern "C" {

WFStringRef WFStringCreateWithUTF8(const char* text) {
  if (!text) return nullptr;
  return orNull<WFStringRef>([&] { return createHandle(String::fromUTF8(text)); });
}

WFStringRef WFStringCreateWithUTF8Bytes(const char* bytes, size_t length) {
  if (!bytes && length > 0) return nullptr;
  return orNull<WFStringRef>([&] { return createHandle(String::fromUTF8(std::string_view(bytes, length))); });
}

WFStringRef WFStringCreateWithUTF16(const uint16_t* units, size_t length) {
  if (!units && length > 0) return nullptr;
  return orNull<WFStringRef>([&] { return createHandle(String(std::u16string(units, units + length))); });
}

const char* WFStringGetUTF8(WFStringRef string) {
  return orNull<const char*>([&] { return string ? utf8Of(*string).c_str() : nullptr; });
}

size_t WFStringGetUTF8Length(WFStringRef string) {
  return orNull<size_t>([&] { return string ? utf8Of(*string).size() : 0; });
}

size_t WFStringGetLength(WFStringRef string) {
  return orNull<size_t>([&] { return string ? valueOf(*string).length() : 0; });
}

WFURLRef WFURLCreateWithUTF8(const char* text) {
  if (!text) return nullptr;
  return orNull<WFURLRef>([&] { return createHandle(URL::fromString(String::fromUTF8(text))); });
}

const char* WFURLGetUTF8(WFURLRef url) {
  return url ? url->utf8.c_str() : nullptr;
}

size_t WFURLGetUTF8Length(WFURLRef url) {
  return url ? url->utf8.size() : 0;
}

WFDataRef WFDataCreate(const void* bytes, size_t length) {
  if (!bytes && length > 0) return nullptr;
  return orNull<WFDataRef>(
      [&] { return createHandle(Data(std::string(static_cast<const char*>(bytes), length))); });
}

const void* WFDataGetBytes(WFDataRef data) {
  return data ? data->value.bytes().data() : nullptr;
}

size_t WFDataGetLength(WFDataRef data) {
  return data ? data->value.length() : 0;
}

const void* WFRetain(const void* object) {
  if (!object) return nullptr;
  const HandleHeader* header = headerOf(object);
  if (header->count.load(std::memory_order_relaxed) != HandleHeader::kImmortal)
    header->count.fetch_add(1, std::memory_order_relaxed);
  return object;
}

void WFRelease(const void* object) {
  if (!object) return;
  const HandleHeader* header = headerOf(object);
  if (header->count.load(std::memory_order_relaxed) == HandleHeader::kImmortal) return;
  if (header->count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  switch (header->kind) {
    case HandleKind::String:
      return destroy(static_cast<WFStringRef>(object));
    case HandleKind::URL:
      delete static_cast<WFURLRef>(object);
      return;
    case HandleKind::Data:
      delete static_cast<WFDataRef>(object);
      return;
  }
}

}  // extern "C"
