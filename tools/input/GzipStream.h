// GzipStream: the decompressed bytes of another stream, when they are compressed.
//
// In Format::Detect gzip data (any number of members, one after the other, as archives have one per
// record; zero padding behind the last) is decompressed and everything else passed on as it is. Format::Gzip,
// Format::Zlib and Format::RawDeflate are HTTP's content encodings, one stream each.
#pragma once

#include <memory>
#include <vector>

#include "input/ByteStream.h"

namespace sifterra::tools {

class GzipStream : public ByteStream {
 public:
  enum class Format { Detect, Gzip, Zlib, RawDeflate };

  explicit GzipStream(std::unique_ptr<ByteStream> source, Format format = Format::Detect);
  ~GzipStream() override;
  GzipStream(const GzipStream&) = delete;
  GzipStream& operator=(const GzipStream&) = delete;

  // Throws InputError for damaged data and for data that ends early.
  [[nodiscard]] std::size_t read(char* buffer, std::size_t count) override;
  [[nodiscard]] std::uint64_t position() const override { return source_->position(); }

 private:
  struct Inflater;
  void fill();
  void start();
  [[nodiscard]] std::size_t readPlain(char* buffer, std::size_t count);
  [[nodiscard]] std::size_t readCompressed(char* buffer, std::size_t count);
  [[nodiscard]] bool anotherMember();
  [[nodiscard]] InputError failure(const char* what) const;

  std::unique_ptr<ByteStream> source_;
  Format format_;
  std::vector<char> input_;
  std::size_t used_ = 0;       // of input_
  std::size_t available_ = 0;  // bytes in input_
  bool started_ = false;
  bool memberEnded_ = false;
  bool ended_ = false;
  std::unique_ptr<Inflater> inflater_;  // null for data that is not compressed
};

}  // namespace sifterra::tools
