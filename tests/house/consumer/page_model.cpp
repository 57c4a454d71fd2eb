// page_model PAGE...: reads pages through the C++ classes, in a program outside the project.
#include <sifterra/page/WFTreeHTMLStripper.h>
#include <sifterra/page/decodePage.h>

#include <fstream>
#include <iostream>
#include <iterator>

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const auto content = sifterra::decodePage(sifterra::platform::Data(bytes), sifterra::platform::String());
    std::cout << content.length() << '\n';
  }
  return 0;
}
