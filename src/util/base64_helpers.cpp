#include "util/base64_helpers.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/Base64.h"
#include "platform/CHandles.h"
#include "platform/ReleaseScope.h"
#include "platform/Unicode.h"
#include "sifterra/sifterra.h"
#include "util/guarded.h"

namespace sifterra {
namespace {

using platform::Data;
using platform::String;

constexpr auto kEncode = "NS64BaseStringFromString";
constexpr auto kDecodeWithNewlines = "DecodeBase64WithNewlines";
constexpr auto kDecode = "DecodeBase64";
constexpr auto kDecodeString = "NSStringFrom64BaseString";

bool isLoneSurrogate(char32_t c) {
  return c >= 0xD800 && c <= 0xDFFF;
}

// The text's UTF-8 form, if it has one.
std::optional<std::string> wholeUTF8(const String& text) {
  if (!text) return std::nullopt;
  const std::u16string_view units = text.view();
  for (std::size_t i = 0; i < units.size();) {
    if (isLoneSurrogate(platform::nextCharacter(units, i))) return std::nullopt;
  }
  return text.toUTF8();
}

}  // namespace

String base64FromString(const String& text) {
  const std::optional<std::string> bytes = wholeUTF8(text);
  return bytes ? String::fromUTF8(platform::base64Encoded(*bytes)) : String();
}

Data dataFromBase64(const String& text) {
  const std::optional<std::string> characters = wholeUTF8(text);
  if (!characters) return nullptr;
  std::optional<std::string> bytes = platform::base64Decoded(*characters);
  return bytes ? Data(std::move(*bytes)) : Data();
}

String stringFromBase64(const String& text) {
  const Data bytes = dataFromBase64(text);
  return bytes ? String::fromUTF8(bytes.chars()) : String();
}

}  // namespace sifterra

namespace {

// One C function: its handle in, the answer as a borrowed handle out.
template <class Answer>
auto answered(const char* op, WFStringRef text, const Answer& answer) {
  using sifterra::platform::borrowedHandle;
  using Result = decltype(borrowedHandle(answer(sifterra::platform::String())));
  return sifterra::guarded(op, Result{nullptr}, [&] {
    const sifterra::platform::ReleaseScope::Call call;
    return borrowedHandle(answer(sifterra::platform::stringFromHandle(text)));
  });
}

}  // namespace

extern "C" {

WFStringRef NS64BaseStringFromString(WFStringRef string) {
  return answered(sifterra::kEncode, string, sifterra::base64FromString);
}

// Kept: the flag is taken and changes nothing. It asks for lines of 64 characters, which only an encoder
// makes.
WFDataRef DecodeBase64WithNewlines(WFStringRef string, signed char /*withNewlines*/) {
  return answered(sifterra::kDecodeWithNewlines, string, sifterra::dataFromBase64);
}

WFDataRef DecodeBase64(WFStringRef string) {
  return answered(sifterra::kDecode, string, sifterra::dataFromBase64);
}

WFStringRef NSStringFrom64BaseString(WFStringRef string) {
  return answered(sifterra::kDecodeString, string, sifterra::stringFromBase64);
}

}  // extern "C"
