#include "tools/fixtures.h"

#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace sifterra::tools {
namespace fs = std::filesystem;
namespace {

std::string compressed(std::string_view bytes, int windowBits) {
  z_stream z{};
  if (deflateInit2(&z, Z_BEST_SPEED, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("deflateInit2");
  }
  std::string out(deflateBound(&z, bytes.size()) + 64, '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  z.avail_in = static_cast<uInt>(bytes.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  if (deflate(&z, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("deflate");
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (fs::temp_directory_path() / "sifterra-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(const std::string& name, std::string_view bytes) const {
  std::string path = at(name);
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file) throw std::runtime_error("cannot write " + path);
  return path;
}

std::string gzipped(std::string_view bytes) {
  return compressed(bytes, MAX_WBITS + 16);
}

std::string deflated(std::string_view bytes, bool zlibHeader) {
  return compressed(bytes, zlibHeader ? MAX_WBITS : -MAX_WBITS);
}

std::string httpMessage(std::string_view headers, std::string_view body, std::string_view status) {
  return "HTTP/1.1 " + std::string(status) + "\r\n" + std::string(headers) + "\r\n" + std::string(body);
}

std::string chunked(std::string_view body, std::size_t size) {
  std::string out;
  for (std::size_t at = 0; at < body.size(); at += size) {
    const std::string_view chunk = body.substr(at, size);
    char length[32];
    std::snprintf(length, sizeof length, "%zx\r\n", chunk.size());
    out.append(length).append(chunk).append("\r\n");
  }
  return out + "0\r\n\r\n";
}

std::string warcRecord(std::string_view fields, std::string_view block, std::string_view version) {
  return "WARC/" + std::string(version) + "\r\n" + std::string(fields) +
         "Content-Length: " + std::to_string(block.size()) + "\r\n\r\n" + std::string(block) + "\r\n\r\n";
}

std::string warcResponse(std::string_view uri, std::string_view message) {
  return warcRecord("WARC-Type: response\r\nWARC-Target-URI: " + std::string(uri) +
                        "\r\nContent-Type: application/http; msgtype=response\r\n",
                    message);
}

std::vector<PageItem> allItems(PageSource& source) {
  std::vector<PageItem> items;
  while (std::optional<PageItem> item = source.next()) items.push_back(std::move(*item));
  return items;
}

std::vector<std::string> errorsOf(const std::vector<PageItem>& items, const std::string& path) {
  std::vector<std::string> errors;
  for (const PageItem& item : items) {
    if (!item.error) continue;
    std::string text = *item.error;
    for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path, at)) {
      text.erase(at, path.size());
    }
    errors.push_back(std::move(text));
  }
  return errors;
}

std::vector<std::string> bytesOf(const std::vector<PageItem>& items) {
  std::vector<std::string> bytes;
  for (const PageItem& item : items) {
    if (!item.error) bytes.emplace_back(item.page.bytes.chars());
  }
  return bytes;
}

}  // namespace sifterra::tools
