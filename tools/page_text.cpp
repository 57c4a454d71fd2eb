#include "page_text.h"

#include <filesystem>
#include <system_error>

#include "Output.h"
#include "sifterra/page/decodePage.h"

namespace sifterra::tools {

namespace {

platform::String toldCharset(const PageRecord& page, const std::string& charset) {
  const std::string& told = charset.empty() ? page.charset : charset;
  return told.empty() ? platform::String() : platform::String::fromUTF8Lossy(told);
}

}  // namespace

std::optional<PageRecord> readOnePage(const std::string& path) {
  const std::unique_ptr<PageSource> source = openPageSource(path);
  std::optional<PageItem> first = source->next();
  if (!first) {
    printError(path + ": holds no page");
    return std::nullopt;
  }
  if (first->error) {
    printError(*first->error);
    return std::nullopt;
  }
  if (source->next()) {
    printError(path + ": holds more than one page, and exactly one was expected");
    return std::nullopt;
  }
  return std::move(first->page);
}

platform::String decodedText(const PageRecord& page, const std::string& charset) {
  return decodePage(page.bytes, toldCharset(page, charset));
}

platform::String shownText(const PageRecord& page, const std::string& charset) {
  return decodePageToShow(page.bytes, toldCharset(page, charset));
}

platform::String absolutePath(const std::string& path) {
  std::error_code ignored;  // only when there is no working directory; then the path stays as it is
  const std::filesystem::path whole = std::filesystem::absolute(path, ignored);
  return platform::String::fromUTF8Lossy(ignored ? path : whole.string());
}

}  // namespace sifterra::tools
