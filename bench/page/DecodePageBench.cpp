// decodePage on ordinary and on hostile pages of growing size: the time must grow as the page does. The
// library's own `complexity` line says how it does; the bare parse of the same UTF-8 bytes is the baseline.
#include <benchmark/benchmark.h>
#include <libxml/HTMLparser.h>

#include <string>

#include "sifterra/page/decodePage.h"

namespace sifterra {
namespace {

std::string repeated(const std::string& piece, std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) text += piece;
  return text;
}

std::string ordinaryPage(std::size_t bytes) {
  return "<html><head><title>t</title></head><body>" +
         repeated(
             "<div class=\"a\"><p>Some words of a <a href=\"/x\" title=\"link\">page</a>, "
             "caf\xC3\xA9.</p></div>\n",
             bytes);
}
std::string deepPage(std::size_t bytes) {
  return repeated("<div>", bytes);
}
std::string misnestedPage(std::size_t bytes) {
  return repeated("<table><b></table><p><h1></p>", bytes);
}
std::string longText(std::size_t bytes) {
  return repeated("word ", bytes);
}
std::string manyAttributes(std::size_t bytes) {
  std::string text = "<p";
  for (std::size_t i = 0; text.size() < bytes; ++i) text += " a" + std::to_string(i) + "=1";
  return text + ">";
}

template <std::string (*kPage)(std::size_t)>
void decode(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const platform::Data page(kPage(size));
  for (auto _ : state) benchmark::DoNotOptimize(decodePage(page, nullptr));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
  state.SetComplexityN(state.range(0));
}

void bareParse(benchmark::State& state) {
  const std::string page = ordinaryPage(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    xmlFreeDoc(htmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr, "UTF-8",
                              HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

constexpr std::int64_t kSmall = 32 << 10;
constexpr std::int64_t kLarge = 32 << 20;

BENCHMARK(bareParse)->Arg(kSmall)->Arg(1 << 20);
BENCHMARK(decode<ordinaryPage>)->RangeMultiplier(32)->Range(kSmall, kLarge)->Complexity(benchmark::oN);
BENCHMARK(decode<deepPage>)->RangeMultiplier(32)->Range(kSmall, kLarge)->Complexity(benchmark::oN);
BENCHMARK(decode<misnestedPage>)->RangeMultiplier(32)->Range(kSmall, kLarge)->Complexity(benchmark::oN);
BENCHMARK(decode<longText>)->RangeMultiplier(32)->Range(kSmall, kLarge)->Complexity(benchmark::oN);
BENCHMARK(decode<manyAttributes>)->RangeMultiplier(32)->Range(kSmall, kLarge)->Complexity(benchmark::oN);

}  // namespace
}  // namespace sifterra
