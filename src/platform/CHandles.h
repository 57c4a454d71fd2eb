// CHandles.h: the objects behind WFStringRef, WFURLRef and WFDataRef.
//
// Each begins with the same header, a kind and a reference count, so that WFRetain and WFRelease take
// any of them. Conversions at the C edge go through here.
//
// A string that must be there before any initialiser of the process has run is an immortal object:
//
//   constinit WFString kWord{u"word"};                 // in an unnamed namespace, not const
//   extern "C" { constinit WFStringRef ExportedWord = &kWord; }
//
// It is never counted and never freed, and needs no destructor at exit.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"
#include "sifterra/sifterra.h"

namespace sifterra::platform {

enum class HandleKind : std::uint32_t { String, URL, Data };

struct HandleHeader {
  static constexpr std::int64_t kImmortal = -1;

  HandleKind kind;
  mutable std::atomic<std::int64_t> count;  // references, or kImmortal
};

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
[[nodiscard]] WFDataRef borrowedHandle(const Data& value);

}  // namespace sifterra::platform

// A string object. Its parts are pointers that are published once, so that an immortal one is
// initialised at compile time and makes its value at the first reading.
struct WFString {
  constexpr explicit WFString(std::u16string_view literal) noexcept
      : header{sifterra::platform::HandleKind::String, sifterra::platform::HandleHeader::kImmortal},
        text(literal) {}
  explicit WFString(const sifterra::platform::String& string)
      : header{sifterra::platform::HandleKind::String, 1}, value(new sifterra::platform::String(string)) {}
  WFString(const WFString&) = delete;
  WFString& operator=(const WFString&) = delete;

  sifterra::platform::HandleHeader header;
  std::u16string_view text;  // of an immortal object: a literal
  mutable std::atomic<const sifterra::platform::String*> value{nullptr};
  mutable std::atomic<const std::string*> utf8{nullptr};  // made at the first WFStringGetUTF8
};

// No destructor, so an immortal object outlives everything that runs at exit. WFRelease frees the parts of
// the others.
static_assert(std::is_trivially_destructible_v<WFString>);
