// A main for fuzz targets outside the preset `fuzz`: runs the target once on the empty input and once on
// every file below the given paths, in the order of their names. No file at all is a failure, too.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
// A target may define it to set things up once; weak, so that most do not.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

namespace fs = std::filesystem;

void addFiles(const fs::path& path, std::vector<fs::path>& files) {
  if (fs::is_regular_file(path)) files.push_back(path);
  if (!fs::is_directory(path)) return;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) addFiles(argv[i], files);
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::fprintf(stderr, "%s: no seeds\n", argv[0]);
    return 1;
  }
  const std::uint8_t nothing = 0;
  LLVMFuzzerTestOneInput(&nothing, 0);
  for (const fs::path& file : files) {
    std::fprintf(stderr, "%s\n", file.c_str());  // the last name printed is the seed that failed
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    const auto* data = bytes.empty() ? &nothing : reinterpret_cast<const std::uint8_t*>(bytes.data());
    LLVMFuzzerTestOneInput(data, bytes.size());
  }
  std::fprintf(stderr, "%zu seeds replayed\n", files.size());
  return 0;
}
