// Loading a map, reading words, scoring: the engine's share of a verdict, for the text of a 32 KiB page.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "lsm/LsmEngine.h"
#include "lsm/Tokenizer.h"
#include "lsm/made_language.h"

namespace sifterra::lsm {
namespace {

constexpr std::size_t kPageWords = 4200;

struct Alphabet {
  const char* name;
  std::u16string letters;
};

const Alphabet& alphabet(std::int64_t number) {
  static const std::array<Alphabet, 3> alphabets = [] {
    std::u16string han;
    for (char16_t c = 0x4E00; c < 0x5200; ++c) han += c;
    return std::array<Alphabet, 3>{{{"Latin", u"etaoinshrdlucmfwypvbgkqjxz"},
                                    {"Cyrillic",
                                     u"\u043e\u0435\u0430\u0438\u043d\u0442\u0441\u0440\u0432\u043b\u043a"
                                     u"\u043c\u0434\u043f\u0443\u044f\u044b\u044c\u0433\u0437\u0431\u0447"},
                                    {"Han", han}}};
  }();
  return alphabets[static_cast<std::size_t>(number)];
}

struct Fixture {
  std::string path;
  LsmMap map;
  std::u16string page;
};

const Fixture& fixture(std::int64_t number) {
  static std::array<Fixture, 3> fixtures;
  Fixture& made = fixtures[static_cast<std::size_t>(number)];
  if (made.map == nullptr) {
    MadeLanguage language(alphabet(number).letters);
    made.path = "/tmp/lsm-bench-" + std::to_string(::getpid()) + "-" + std::to_string(number);
    std::string why;
    if (!writeMapFile(made.path, language.contents(), why)) {
      std::fprintf(stderr, "%s\n", why.c_str());
      std::exit(1);
    }
    made.map = lsmMapLoad(made.path);
    ::unlink(made.path.c_str());
    made.page = language.text(kPageWords);
  }
  return made;
}

struct Counter final : TokenSink {
  void token(const Token&) override { ++count; }
  std::size_t count = 0;
};

void tokenize(benchmark::State& state) {
  const Fixture& given = fixture(state.range(0));
  Tokenizer tokenizer;
  Counter sink;
  for (auto _ : state) tokenizer.tokenize(given.page, sink);
  state.SetLabel(alphabet(state.range(0)).name);
  state.counters["tokens"] = static_cast<double>(sink.count) / static_cast<double>(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(given.page.size() * 2) * state.iterations());
}
BENCHMARK(tokenize)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

void addWords(benchmark::State& state) {
  const Fixture& given = fixture(state.range(0));
  for (auto _ : state) {
    const LsmText text = lsmTextCreate(given.map);
    benchmark::DoNotOptimize(lsmTextAddWords(text, given.page));
  }
  state.SetLabel(alphabet(state.range(0)).name);
}
BENCHMARK(addWords)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

void wholePage(benchmark::State& state) {
  const Fixture& given = fixture(state.range(0));
  for (auto _ : state) {
    const LsmText text = lsmTextCreate(given.map);
    benchmark::DoNotOptimize(lsmTextAddWords(text, given.page));
    benchmark::DoNotOptimize(lsmEvaluate(given.map, text, 2));
  }
  state.SetLabel(alphabet(state.range(0)).name);
}
BENCHMARK(wholePage)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

void evaluateOnly(benchmark::State& state) {
  const Fixture& given = fixture(0);
  const LsmText text = lsmTextCreate(given.map);
  benchmark::DoNotOptimize(lsmTextAddWords(text, given.page));
  for (auto _ : state) benchmark::DoNotOptimize(lsmEvaluate(given.map, text, 2));
}
BENCHMARK(evaluateOnly)->Unit(benchmark::kMicrosecond);

void manyPagesInOne(benchmark::State& state) {
  MadeLanguage language;
  const std::u16string page = language.text(static_cast<std::size_t>(state.range(0)) * kPageWords);
  const Fixture& given = fixture(0);
  for (auto _ : state) {
    const LsmText text = lsmTextCreate(given.map);
    benchmark::DoNotOptimize(lsmTextAddWords(text, page));
    benchmark::DoNotOptimize(lsmEvaluate(given.map, text, 2));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(manyPagesInOne)->Arg(1)->Arg(32)->Arg(1024)->Complexity()->Unit(benchmark::kMillisecond);

void load(benchmark::State& state) {
  const std::string path = "/tmp/lsm-bench-load-" + std::to_string(::getpid());
  std::string why;
  if (!writeMapFile(path, MadeLanguage().contents(static_cast<std::uint32_t>(state.range(0))), why)) {
    state.SkipWithError(why.c_str());
  }
  for (auto _ : state) benchmark::DoNotOptimize(lsmMapLoad(path));
  ::unlink(path.c_str());
}
BENCHMARK(load)->Arg(32)->Arg(48)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sifterra::lsm
