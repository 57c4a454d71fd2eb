// What the filter text costs beside the page model it is made of, and that it grows with the page.
//
// One generated page of ordinary markup in three sizes. filterText is what a verdict pays: tags, image and
// link texts, layout and cleaning.
#include <benchmark/benchmark.h>

#include <string>

#include "platform/Unicode.h"
#include "sifterra/page/WFPostprocessor.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/text/WFWebPageToFilterText.h"

namespace {

using namespace sifterra;
using platform::String;

String generatedPage(std::int64_t size) {
  std::string page =
      "<!DOCTYPE html><html><head><meta charset=\"UTF-8\"><title>A page</title>"
      "<meta name=\"description\" content=\"All about foxes, dogs and the next one\">"
      "<meta name=\"keywords\" content=\"fox, dog, quick, lazy\"></head><body>\n";
  for (unsigned i = 0; page.size() < static_cast<std::size_t>(size); ++i) {
    const std::string number = std::to_string(i);
    page += "<div class=\"item\"><h2>Heading " + number + "</h2>\n<p>The quick brown fox, number " + number +
            ", jumps over the <b>lazy</b> dog and six others on to <a href=\"/items/" + number +
            "\" title=\"Item\">the next one</a>, caf\xC3\xA9 included; sixteen experts said so.</p>\n" +
            "<img src=\"/i/" + number + ".jpg\" alt=\"Picture\" width=\"120\" height=\"80\">\n</div>\n";
  }
  return String::fromUTF8(page + "</body></html>\n");
}

void report(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void pageModel(benchmark::State& state) {
  const String html = generatedPage(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(WFTreeHTMLStripper::treeStripperWithString(html));
  report(state);
}

void filterText(benchmark::State& state) {
  const auto model = WFTreeHTMLStripper::treeStripperWithString(generatedPage(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(WFWebPageToFilterText(model).plainText());
  report(state);
}

// The same by building the whole layout and cleaning it then.
void filterTextInTwoSteps(benchmark::State& state) {
  const auto model = WFTreeHTMLStripper::treeStripperWithString(generatedPage(state.range(0)));
  for (auto _ : state) {
    const String raw(WFWebPageToFilterText(model).rawPlainText());
    benchmark::DoNotOptimize(WFPostprocessor::postprocessPlainTextWebPage(raw));
  }
  report(state);
}

void tags(benchmark::State& state) {
  const auto model = WFTreeHTMLStripper::treeStripperWithString(generatedPage(state.range(0)));
  const WFWebPageToFilterText page(model);
  for (auto _ : state) benchmark::DoNotOptimize(page.tags());
  report(state);
}

// What lower-casing the text for the slang tag would add.
void lowerCasing(benchmark::State& state) {
  const auto model = WFTreeHTMLStripper::treeStripperWithString(generatedPage(state.range(0)));
  const String content = model->pageContent();
  for (auto _ : state) benchmark::DoNotOptimize(platform::lowercased(content.view()));
  report(state);
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(32 << 10)->Arg(1 << 20)->Arg(32 << 20)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(pageModel)->Apply(sizes);
BENCHMARK(filterText)->Apply(sizes);
BENCHMARK(filterTextInTwoSteps)->Apply(sizes);
BENCHMARK(tags)->Apply(sizes);
BENCHMARK(lowerCasing)->Apply(sizes);

}  // namespace
