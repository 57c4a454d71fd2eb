// What the page model costs beside the bare parse of the same bytes, and that it grows with the page.
//
// Pages: the examples, one after the other, and a generated page of ordinary markup in three sizes.
#include <benchmark/benchmark.h>
#include <libxml/HTMLparser.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "sifterra/page/WFJavascriptStripper.h"
#include "sifterra/page/WFPostprocessor.h"
#include "sifterra/page/WFTreeHTMLStripper.h"

namespace {

using namespace sifterra;
using platform::String;

constexpr int kOptions = HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING;

std::string generatedPage(std::size_t size) {
  std::string page =
      "<!DOCTYPE html><html><head><meta charset=\"UTF-8\"><title>A page</title></head><body>\n";
  for (unsigned i = 0; page.size() < size; ++i) {
    const std::string number = std::to_string(i);
    page += "<div class=\"item c" + number + "\"><h2>Heading " + number +
            "</h2>\n<p>The quick brown fox, number " + number +
            ", jumps over the lazy dog and on to <a href=\"/items/" + number +
            "?from=list\" title=\"Item\">the next one</a>, caf\xC3\xA9 included.</p>\n" + "<img src=\"/i/" +
            number + ".jpg\" alt=\"Picture\" width=\"120\" height=\"80\">\n</div>\n";
    if (i % 20 == 0) {
      page += "<script>function f" + number + "(a, b) { if (a < b) { return document.getElementById(\"id" +
              number + "\"); }\n  window.list.push({ name: 'entry', value: a + b * 17 });\n}\n</script>\n";
    }
  }
  return page + "</body></html>\n";
}

// The example pages, in any order.
std::vector<std::string> examplePages() {
  std::vector<std::string> pages;
  for (const auto& entry : std::filesystem::directory_iterator(SIFTERRA_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".html") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    pages.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return pages;
}

std::vector<std::string> pagesOf(std::int64_t size) {
  if (size == 0) return examplePages();
  return {generatedPage(static_cast<std::size_t>(size))};
}

void report(benchmark::State& state, const std::vector<std::string>& pages) {
  std::int64_t bytes = 0;
  for (const std::string& page : pages) bytes += static_cast<std::int64_t>(page.size());
  state.SetBytesProcessed(state.iterations() * bytes);
}

void bareParse(benchmark::State& state) {
  const std::vector<std::string> pages = pagesOf(state.range(0));
  for (auto _ : state) {
    for (const std::string& page : pages) {
      xmlFreeDoc(htmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr, "UTF-8", kOptions));
    }
  }
  report(state, pages);
}

void modelOfString(benchmark::State& state) {
  const std::vector<std::string> pages = pagesOf(state.range(0));
  std::vector<String> strings;
  for (const std::string& page : pages) strings.push_back(String::fromUTF8Lossy(page));
  for (auto _ : state) {
    for (const String& string : strings) {
      benchmark::DoNotOptimize(WFTreeHTMLStripper::treeStripperWithString(string));
    }
  }
  report(state, pages);
}

void encodeOnly(benchmark::State& state) {
  const std::vector<std::string> pages = pagesOf(state.range(0));
  std::vector<String> strings;
  for (const std::string& page : pages) strings.push_back(String::fromUTF8Lossy(page));
  for (auto _ : state) {
    for (const String& string : strings) benchmark::DoNotOptimize(string.toUTF8());
  }
  report(state, pages);
}

void walkOnly(benchmark::State& state) {
  const std::vector<std::string> pages = pagesOf(state.range(0));
  std::vector<xmlDoc*> documents;
  for (const std::string& page : pages) {
    documents.push_back(
        htmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr, "UTF-8", kOptions));
  }
  for (auto _ : state) {
    for (xmlDoc* document : documents) {
      benchmark::DoNotOptimize(WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(document));
    }
  }
  for (xmlDoc* document : documents) xmlFreeDoc(document);
  report(state, pages);
}

void stripScript(benchmark::State& state) {
  std::string script;
  while (script.size() < static_cast<std::size_t>(state.range(0))) {
    script +=
        "function next(a, b) { if (a < b) { return document.getElementById(\"id\"); }\n"
        "  window.list.push({ name: 'entry', value: a + b * 17 });\n}\n";
  }
  const String text = String::fromUTF8(script);
  for (auto _ : state) benchmark::DoNotOptimize(WFJavascriptStripper::stripJavascript(text));
  report(state, {script});
}

void postprocess(benchmark::State& state) {
  const String text = String::fromUTF8(generatedPage(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(WFPostprocessor::postprocessPlainTextWebPage(text));
  report(state, {std::string(text.length(), ' ')});
}

constexpr std::int64_t kExamples = 0;
constexpr std::int64_t kKiB = 1024;
constexpr std::int64_t kMiB = 1024 * 1024;

void pageSizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(kExamples)->Arg(32 * kKiB)->Arg(kMiB)->Arg(32 * kMiB)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(bareParse)->Apply(pageSizes);
BENCHMARK(modelOfString)->Apply(pageSizes);
BENCHMARK(encodeOnly)->Apply(pageSizes);
BENCHMARK(walkOnly)->Apply(pageSizes);
BENCHMARK(stripScript)->Arg(32 * kKiB)->Arg(kMiB)->Unit(benchmark::kMicrosecond);
BENCHMARK(postprocess)->Arg(32 * kKiB)->Arg(kMiB)->Unit(benchmark::kMicrosecond);

}  // namespace
