#include "content_coding.h"

#include "ascii_text.h"

namespace sifterra::icap {
namespace {

struct Name {
  std::string_view name;
  Coding coding;
};
constexpr Name kNames[] = {
    {"gzip", Coding::Gzip}, {"x-gzip", Coding::Gzip}, {"deflate", Coding::Deflate},
    {"br", Coding::Brotli}, {"zstd", Coding::Zstd},
};

std::optional<Coding> codingCalled(std::string_view name) {
  for (const Name& known : kNames)
    if (equalsIgnoringCase(name, known.name)) return known.coding;
  return std::nullopt;
}

}  // namespace

bool addCodings(std::string_view value, std::vector<Coding>* codings) {
  while (!value.empty()) {
    const std::string_view name = takePart(&value, ',');
    if (name.empty() || equalsIgnoringCase(name, "identity")) continue;
    const std::optional<Coding> coding = codingCalled(name);
    if (!coding || codings->size() == kMostCodings) return false;
    codings->push_back(*coding);
  }
  return true;
}

std::optional<std::string> readableEncodings(std::string_view acceptEncoding) {
  std::string kept;
  bool all = true;
  while (!acceptEncoding.empty()) {
    const std::string_view entry = takePart(&acceptEncoding, ',');
    std::string_view rest = entry;
    const std::string_view name = takePart(&rest, ';');
    if (name.empty()) continue;
    if (!codingCalled(name) && !equalsIgnoringCase(name, "identity")) {
      all = false;
      continue;
    }
    if (!kept.empty()) kept += ", ";
    kept += entry;
  }
  if (all) return std::nullopt;
  return kept.empty() ? "identity" : kept;
}

}  // namespace sifterra::icap
