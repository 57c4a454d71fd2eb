// plain_sniffer.h: the MIME type of bytes by a table, read byte by byte.
#pragma once

#include <string>

namespace sifterra::reference {

inline std::string sniffed(const std::string& bytes, const std::string& text) {
  std::string lower = text;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  const auto holds = [](const std::string& where, const char* what) {
    return where.find(what) != std::string::npos;
  };
  const bool html = holds(lower, "<html") || holds(lower, "</html");
  if (holds(text, "<?xml"))
    return html && holds(lower, "xmlns") ? "application/xhtml+xml" : "application/xml";
  if (html) return "text/html";
  struct Signature {
    std::size_t offset;
    std::string bytes;
    const char* type;
  };
  const Signature signatures[] = {
      {0, "GIF87a", "image/gif"},
      {0, "GIF89a", "image/gif"},
      {0, "\xFF\xD8\xFF", "image/jpeg"},
      {0, "%PDF", "application/pdf"},
      {0, "\x89PNG\r\n\x1A\n", "image/png"},
      {0, "FWS", "application/x-shockwave-flash"},
      {0, "CWS", "application/x-shockwave-flash"},
      {516, std::string("\xEC\xA5\xC1\0", 4), "application/msword"},
  };
  for (const Signature& signature : signatures) {
    if (bytes.size() >= signature.offset + signature.bytes.size() &&
        bytes.substr(signature.offset, signature.bytes.size()) == signature.bytes)
      return signature.type;
  }
  return "text/plain";
}

}  // namespace sifterra::reference
