#include "icap/bare_parse.h"

#include <libxml/HTMLparser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <atomic>
#include <cstddef>
#include <ctime>
#include <thread>

#include "page/parse_html.h"

namespace sifterra::bench {
namespace {

extern "C" {
static void ignoreMessage(void*, const char*, ...) {}
}

double threadMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

}  // namespace

double bareParseMilliseconds(const std::vector<std::string>& pages, unsigned threads) {
  xmlInitParser();
  std::atomic<std::size_t> next{0};
  std::vector<double> spent(threads, 0.0);
  std::vector<std::thread> workers;
  for (unsigned i = 0; i < threads; ++i) {
    workers.emplace_back([&, i] {
      xmlSetGenericErrorFunc(nullptr, ignoreMessage);  // the handler is the thread's own
      const double start = threadMilliseconds();
      for (std::size_t page = next++; page < pages.size(); page = next++) {
        const std::string& bytes = pages[page];
        xmlFreeDoc(htmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, "UTF-8",
                                  kHTMLParseOptions));
      }
      spent[i] = threadMilliseconds() - start;
    });
  }
  double total = 0;
  for (unsigned i = 0; i < threads; ++i) {
    workers[i].join();
    total += spent[i];
  }
  return total;
}

}  // namespace sifterra::bench
