// What a page costs in memory, from the text that a caller holds to the finished model.
//
// Nearly all of it is the page's tree: 256 bytes for the four of "<p>x", two nodes and a small string. A bare
// parse takes more; what is asserted is that judging takes not much beside what that takes, and the sum for
// the worst markup there is. Each page is built and judged in a process of its own, whose peak is the
// kernel's count of its pages.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>

#include "page/charset_declaration.h"
#include "page/parse_html.h"
#include "page/parsed_depth.h"
#include "page_fixture.h"
#include "sifterra/page/decodePage.h"

namespace sifterra {
namespace {

using platform::String;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // shadow memory and quarantine count as well
#else
constexpr bool kSanitized = false;
#endif

constexpr std::size_t kPageBytes = 2 * 1024 * 1024;
constexpr double kWorstFactor = 95;       // all in all, times the page's bytes
constexpr double kWorstOwnFactor = 15;    // beside the parser: a list of links that is being doubled, mostly
constexpr double kOrdinaryOwnFactor = 6;  // the caller's text, its UTF-8 form, the page's text

// A number of bytes from the process's status, which gives them in KiB.
double statusBytes(const char* field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field, 0) == 0)
      return std::strtod(line.c_str() + std::string(field).size() + 1, nullptr) * 1024;
  }
  return 0;
}

using MakePage = std::function<std::string()>;

// The bare parse of the page's bytes.
bool parsed(const MakePage& makePage, std::size_t& bytes) {
  const std::string page = makePage();
  bytes = page.size();
  const tests::Document document(htmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr,
                                                declaredCharset(page) ? "UTF-8" : nullptr,
                                                kHTMLParseOptions));
  return document != nullptr;
}

// The model of the page's text.
bool modelled(const MakePage& makePage, std::size_t& bytes) {
  const String text = [&] {
    const std::string page = makePage();
    bytes = page.size();
    return String::fromUTF8Lossy(page);
  }();
  return WFTreeHTMLStripper::treeStripperWithString(text) != nullptr;
}

// Peak bytes per byte of the page, measured from before there is a page; 0 when it failed.
double memoryFactor(const MakePage& makePage, bool (*work)(const MakePage&, std::size_t&)) {
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    // The code and tables that any page needs count once, not for this one.
    (void)modelOf(
        "<meta charset=\"utf-8\"><title>t</title><a href=x title=\"\xC3\xA4\">b</a><script>'c'</script>");
    std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts again from here
    const double before = statusBytes("VmRSS:");
    std::size_t bytes = 0;
    const bool made = work(makePage, bytes);
    const double factor = made ? (statusBytes("VmHWM:") - before) / static_cast<double>(bytes) : 0;
    const bool written = write(ends[1], &factor, sizeof factor) == sizeof factor;
    _exit(written ? 0 : 1);
  }
  close(ends[1]);
  double factor = 0;
  if (read(ends[0], &factor, sizeof factor) != sizeof factor) factor = 0;
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 ? factor : 0;
}

std::string repeated(std::string_view unit, std::size_t bytes = kPageBytes) {
  std::string page;
  page.reserve(bytes + unit.size());
  while (page.size() < bytes) page += unit;
  return page;
}

// Elements with every attribute that has a name of one character.
std::string attributeFlood(const char* value) {
  std::string element = "<i";
  for (char name = 'a'; name <= 'z'; ++name) element.append(" ").append(1, name).append(value);
  return repeated(element + ">x</i>");
}

std::string metaFlood() {
  std::string page;
  page.reserve(kPageBytes + 64);
  for (unsigned i = 0; page.size() < kPageBytes; ++i) {
    page.append("<meta name=").append(std::to_string(i)).append(" content=>");
  }
  return page;
}

// Prints and checks what the page named so takes.
void expectBounded(const char* name, const MakePage& makePage, double ownFactor) {
  const double bare = memoryFactor(makePage, parsed);
  const double whole = memoryFactor(makePage, modelled);
  std::printf("  %-24s %5.1f, bare parse %5.1f\n", name, whole, bare);
  EXPECT_GT(bare, 0) << name;
  EXPECT_GT(whole, 0) << name;
  EXPECT_LE(whole, kWorstFactor) << name;
  EXPECT_LE(whole - bare, ownFactor) << name;
}

TEST(PageMemory, IsBoundedForTheWorstMarkup) {
  if (kSanitized) GTEST_SKIP() << "memory is not the program's own under a sanitizer";
  const char* const kUnits[] = {
      "<a>x",
      "<p>x",
      "</p>x",
      "<br>x",
      "<hr>x",
      "<img>x",
      "<?a>x",
      "<?a>",
      "<a>",
      "<img>",
      "<b>x</b>",
      "<!---->",
      "<!---->x",
      "<i a=b>x</i>",
      "<a b=c>x",
      "<a href=''>x",
      "<li>x",
      "<td>x",
      "<svg>x</svg>",
      "<script></script>",
      "<script>'a'</script>",
      "<script>'';</script>",
      "<meta content=x>",
      "<meta content=>",
      "<title>x</title>",
      "<p> ",
      "x<br>",
      "\xC3\xA4<a>",
      "''",
      "';",
      "<",
      "&lt;",
      "x",
      "\xF0\x9F\x98\x80",
  };
  for (const char* unit : kUnits) {
    expectBounded(
        unit, [unit] { return repeated(unit); }, kWorstOwnFactor);
  }
  for (const char* value : {"", "=", "=1", "=''"}) {
    expectBounded((std::string("attributes") + value).c_str(), [value] { return attributeFlood(value); },
                  kWorstOwnFactor);
  }
  expectBounded("labels", metaFlood, kWorstOwnFactor);
}

TEST(PageMemory, IsBoundedForOrdinaryPages) {
  if (kSanitized) GTEST_SKIP() << "memory is not the program's own under a sanitizer";
  for (const auto& entry : std::filesystem::directory_iterator(SIFTERRA_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".html") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::string example = decodePage(platform::Data(bytes), nullptr).toUTF8();
    // Many times over, since a page of some kilobytes is too small to be seen.
    expectBounded(
        entry.path().filename().c_str(), [&example] { return repeated(example); }, kOrdinaryOwnFactor);
  }
}

}  // namespace
}  // namespace sifterra
