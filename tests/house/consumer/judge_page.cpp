// judge_page [-r ROOT] PAGE...: the same through the C++ classes.
#include <sifterra/judge/WFJudge.h>
#include <sifterra/page/WFTreeHTMLStripper.h>
#include <sifterra/page/decodePage.h>
#include <sifterra/sifterra.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
  using sifterra::platform::Data;
  using sifterra::platform::String;
  int first = 1;
  if (argc > 2 && std::string(argv[1]) == "-r") {
    WFSetFileSystemRoot(argv[2]);
    first = 3;
  }
  const auto judge = sifterra::WFJudge::defaultJudge();
  if (!judge) return 4;
  for (int i = first; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const String content = sifterra::decodePage(Data(bytes), nullptr);
    const auto page = sifterra::WFTreeHTMLStripper::treeStripperWithString(content);
    const auto verdict =
        judge->pronounceOnPageContent(content, String(u"http://example.com/"), nullptr, nullptr);
    std::cout << (verdict->restricted() ? "restricted" : "allowed") << '\t'
              << (page ? page->pageTitle().toUTF8() : "-") << '\n';
  }
  return 0;
}
