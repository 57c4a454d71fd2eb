// UnicodeBench: conversions and searches on page-like text, ICU's own function of the same purpose beside
// each.
//
// Argument 0 is markup in ASCII, 1 Russian text in such markup, 2 Chinese text; 1 MiB of UTF-8 each.
#include <benchmark/benchmark.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <string>

#include "platform/Unicode.h"

namespace platform = sifterra::platform;

namespace {

constexpr std::size_t kBytes = 1024 * 1024;

std::string page(std::int64_t kind) {
  const std::string_view words[] = {
      "some plain words of a page ",
      "\xD1\x81\xD0\xBB\xD0\xBE\xD0\xB2\xD0\xB0 \xD0\xBD\xD0\xB0 "
      "\xD1\x81\xD1\x82\xD1\x80\xD0\xB0\xD0\xBD\xD0\xB8 ",
      "\xE4\xB8\xAD\xE6\x96\x87\xE7\xBD\x91\xE9\xA1\xB5\xE4\xB8\x8A\xE7\x9A\x84\xE6\x96\x87\xE5\xAD\x97"};
  std::string text;
  while (text.size() < kBytes) {
    text += "<p class=\"note\"><a href=\"/path/to/something\">";
    for (int i = 0; i < 6; ++i) text += words[kind];
    text += "</a></p>\n";
  }
  return text;
}

void setRate(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

void fromUTF8(benchmark::State& state) {
  const std::string text = page(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(platform::utf16FromUTF8(text));
  setRate(state, text.size());
}

void fromUTF8ByICU(benchmark::State& state) {
  const std::string text = page(state.range(0));
  for (auto _ : state) {
    std::u16string units(text.size(), u'\0');
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &length, text.data(),
                  static_cast<std::int32_t>(text.size()), &error);
    units.resize(static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(units);
  }
  setRate(state, text.size());
}

void toUTF8(benchmark::State& state) {
  const std::u16string text = platform::utf16FromUTF8Lossy(page(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(platform::utf8FromUTF16(text));
  setRate(state, platform::utf8FromUTF16(text).size());
}

void toUTF8ByICU(benchmark::State& state) {
  const std::u16string text = platform::utf16FromUTF8Lossy(page(state.range(0)));
  for (auto _ : state) {
    std::string bytes(text.size() * 3, '\0');
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(bytes.data(), static_cast<std::int32_t>(bytes.size()), &length, text.data(),
                static_cast<std::int32_t>(text.size()), &error);
    bytes.resize(static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(bytes);
  }
  setRate(state, platform::utf8FromUTF16(text).size());
}

void find(benchmark::State& state) {
  const std::u16string text = platform::utf16FromUTF8Lossy(page(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(platform::findIgnoringCase(text, u"Z-Axis"));
  setRate(state, text.size() * 2);
}

void whitespace(benchmark::State& state) {
  const std::u16string text = platform::utf16FromUTF8Lossy(page(state.range(0)));
  for (auto _ : state) {
    std::size_t count = 0;
    for (const char16_t unit : text) count += platform::isWhitespaceOrNewline(unit);
    benchmark::DoNotOptimize(count);
  }
  setRate(state, text.size() * 2);
}

void nfkcCaseFold(benchmark::State& state) {
  const std::u16string text = platform::utf16FromUTF8Lossy(page(state.range(0)));
  for (auto _ : state) {
    std::u16string out;
    platform::appendNFKCCaseFolded(text, out);
    benchmark::DoNotOptimize(out);
  }
  setRate(state, text.size() * 2);
}

}  // namespace

BENCHMARK(fromUTF8)->DenseRange(0, 2);
BENCHMARK(fromUTF8ByICU)->DenseRange(0, 2);
BENCHMARK(toUTF8)->DenseRange(0, 2);
BENCHMARK(toUTF8ByICU)->DenseRange(0, 2);
BENCHMARK(find)->DenseRange(0, 2);
BENCHMARK(whitespace)->DenseRange(0, 2);
BENCHMARK(nfkcCaseFold)->DenseRange(0, 2);
