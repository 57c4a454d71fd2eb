#include "input/GzipStream.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <new>

namespace sifterra::tools {
namespace {

constexpr std::size_t kInputBlock = 64 * 1024;
constexpr unsigned char kGzipMagic[] = {0x1f, 0x8b};

// zlib tells the container by the window bits: 15 zlib, 15 + 16 gzip, negative for none.
int windowBits(GzipStream::Format format) {
  switch (format) {
    case GzipStream::Format::Zlib:
      return MAX_WBITS;
    case GzipStream::Format::RawDeflate:
      return -MAX_WBITS;
    default:
      return MAX_WBITS + 16;
  }
}

}  // namespace

struct GzipStream::Inflater {
  explicit Inflater(Format format) {
    if (inflateInit2(&stream, windowBits(format)) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  z_stream stream{};
};

GzipStream::GzipStream(std::unique_ptr<ByteStream> source, Format format)
    : source_(std::move(source)), format_(format), input_(kInputBlock) {}

GzipStream::~GzipStream() = default;

std::size_t GzipStream::read(char* buffer, std::size_t count) {
  if (ended_ || count == 0) return 0;
  if (!started_) start();
  return inflater_ ? readCompressed(buffer, count) : readPlain(buffer, count);
}

// Keeps what is left of the input and reads more behind it; available_ stays when there is no more.
void GzipStream::fill() {
  std::copy(input_.begin() + static_cast<std::ptrdiff_t>(used_),
            input_.begin() + static_cast<std::ptrdiff_t>(available_), input_.begin());
  available_ -= used_;
  used_ = 0;
  if (available_ < input_.size()) {
    available_ += source_->read(input_.data() + available_, input_.size() - available_);
  }
}

void GzipStream::start() {
  started_ = true;
  if (format_ == Format::Detect) {
    std::size_t before = SIZE_MAX;  // a pipe may hand out single bytes
    while (available_ < sizeof kGzipMagic && available_ != before) {
      before = available_;
      fill();
    }
    const bool compressed =
        available_ >= sizeof kGzipMagic &&
        std::equal(std::begin(kGzipMagic), std::end(kGzipMagic), input_.begin(),
                   [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); });
    if (!compressed) return;
  }
  inflater_ = std::make_unique<Inflater>(format_);
}

std::size_t GzipStream::readPlain(char* buffer, std::size_t count) {
  if (used_ == available_) return source_->read(buffer, count);
  const std::size_t got = std::min(count, available_ - used_);
  std::copy_n(input_.data() + used_, got, buffer);
  used_ += got;
  return got;
}

std::size_t GzipStream::readCompressed(char* buffer, std::size_t count) {
  z_stream& z = inflater_->stream;
  count = std::min<std::size_t>(count, UINT_MAX);
  for (;;) {
    if (memberEnded_) {
      ended_ = !anotherMember();
      if (ended_) return 0;
      memberEnded_ = false;
      inflateReset(&z);
    }
    if (used_ == available_) fill();
    const bool inputEnded = used_ == available_;
    z.next_in = reinterpret_cast<Bytef*>(input_.data() + used_);
    z.avail_in = static_cast<uInt>(available_ - used_);
    z.next_out = reinterpret_cast<Bytef*>(buffer);
    z.avail_out = static_cast<uInt>(count);
    const int status = inflate(&z, Z_NO_FLUSH);
    used_ = available_ - z.avail_in;
    const std::size_t got = count - z.avail_out;
    if (status == Z_MEM_ERROR) throw std::bad_alloc();
    memberEnded_ = status == Z_STREAM_END;
    if (got > 0) return got;
    if (memberEnded_) continue;
    if (status != Z_OK && status != Z_BUF_ERROR) throw failure("damaged compressed data");
    if (inputEnded) throw failure("compressed data ends early");
  }
}

// Whether gzip data goes on behind a member. Archives are padded with zeros at times; anything else there
// would be lost silently, so it is an error.
bool GzipStream::anotherMember() {
  if (format_ != Format::Detect) return false;
  for (bool padding = false;; padding = true) {
    if (used_ == available_) fill();
    if (used_ == available_) return false;
    if (input_[used_] != '\0') {
      if (padding || static_cast<unsigned char>(input_[used_]) != kGzipMagic[0]) {
        throw failure("other data behind the compressed data");
      }
      return true;
    }
    ++used_;
  }
}

InputError GzipStream::failure(const char* what) const {
  return InputError(std::string(what) + " (at byte " +
                    std::to_string(source_->position() - (available_ - used_)) + ")");
}

}  // namespace sifterra::tools
