// decoding_layers: zlib, brotli and zstd, told to stay small.
#include "decoding_layers.h"

#include <brotli/decode.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>

namespace sifterra::icap {
namespace {

using Layer = BodyDecoder::Layer;

template <class Number>
Number bounded(std::size_t size) {
  return static_cast<Number>(std::min<std::size_t>(size, std::numeric_limits<Number>::max()));
}

// gzip, and both things that are called deflate.
class ZlibLayer final : public Layer {
 public:
  explicit ZlibLayer(bool gzip) : gzip_(gzip) {
    if (gzip) start(MAX_WBITS + 16);
  }
  ~ZlibLayer() override {
    if (started_) inflateEnd(&stream_);
  }

  void end() override { ended_ = true; }

  Status decode(std::string_view* in, char* out, std::size_t* size) override {
    const std::size_t room = *size;
    *size = 0;
    if (!started_ && !begin(in)) return Status::Going;
    if (headLength_ > 0) {
      std::string_view head(head_.data() + headTaken_, headLength_ - headTaken_);
      const Status status = run(&head, out, room, size);
      headTaken_ = headLength_ - head.size();
      if (status != Status::Going || headTaken_ < headLength_) return status;
      headLength_ = 0;
      if (*size == room) return status;
    }
    std::size_t produced = 0;
    const Status status = run(in, out + *size, room - *size, &produced);
    *size += produced;
    return status;
  }

 private:
  void start(int windowBits) {
    const int result = inflateInit2(&stream_, windowBits);
    if (result != Z_OK) throw std::bad_alloc();
    started_ = true;
  }

  // "deflate" is said of zlib streams and of bare ones; the first two bytes tell. False while they are not
  // there.
  bool begin(std::string_view* in) {
    while (headLength_ < head_.size() && !in->empty()) {
      head_[headLength_++] = in->front();
      in->remove_prefix(1);
    }
    if (headLength_ < head_.size() && !ended_) return false;
    const unsigned method = static_cast<unsigned char>(head_[0]);
    const unsigned flags = static_cast<unsigned char>(head_[1]);
    const bool zlib =
        headLength_ == 2 && (method & 0x0F) == 8 && (method >> 4) <= 7 && (method * 256 + flags) % 31 == 0;
    start(zlib ? MAX_WBITS : -MAX_WBITS);
    return true;
  }

  Status run(std::string_view* in, char* out, std::size_t room, std::size_t* produced) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in->data()));
    stream_.avail_in = bounded<uInt>(in->size());
    stream_.next_out = reinterpret_cast<Bytef*>(out);
    stream_.avail_out = bounded<uInt>(room);
    const uInt given = stream_.avail_in;
    Status status = Status::Going;
    int result = Z_OK;
    while (stream_.avail_out > 0 && stream_.avail_in > 0) {
      // Members may stand one behind the other; what follows them and is none does not belong to the body.
      if (memberEnded_) {
        if (!gzip_ || *stream_.next_in != 0x1F) {
          status = Status::Ended;
          break;
        }
        inflateReset(&stream_);
        memberEnded_ = false;
      }
      result = inflate(&stream_, Z_NO_FLUSH);
      memberEnded_ = result == Z_STREAM_END;
      anyMember_ = anyMember_ || memberEnded_;
      if (result == Z_STREAM_END || result == Z_OK) continue;
      if (result != Z_BUF_ERROR) status = anyMember_ && gzip_ ? Status::Ended : Status::Damaged;
      break;
    }
    // What the last input still holds back comes out of a call without input.
    if (status == Status::Going && stream_.avail_in == 0 && stream_.avail_out > 0 && !memberEnded_) {
      result = inflate(&stream_, Z_NO_FLUSH);
      memberEnded_ = result == Z_STREAM_END;
      anyMember_ = anyMember_ || memberEnded_;
    }
    in->remove_prefix(given - stream_.avail_in);
    *produced = room - stream_.avail_out;
    return status;
  }

  z_stream stream_{};
  bool gzip_;
  bool started_ = false;
  bool ended_ = false;
  bool memberEnded_ = false;
  bool anyMember_ = false;
  std::array<char, 2> head_{};
  std::size_t headLength_ = 0;
  std::size_t headTaken_ = 0;
};

class BrotliLayer final : public Layer {
 public:
  BrotliLayer() : decoder_(BrotliDecoderCreateInstance(nullptr, nullptr, nullptr)) {
    if (!decoder_) throw std::bad_alloc();
  }
  ~BrotliLayer() override { BrotliDecoderDestroyInstance(decoder_); }

  Status decode(std::string_view* in, char* out, std::size_t* size) override {
    std::size_t available = in->size();
    auto next = reinterpret_cast<const std::uint8_t*>(in->data());
    std::size_t room = *size;
    auto place = reinterpret_cast<std::uint8_t*>(out);
    const BrotliDecoderResult result =
        BrotliDecoderDecompressStream(decoder_, &available, &next, &room, &place, nullptr);
    in->remove_prefix(in->size() - available);
    *size -= room;
    if (result == BROTLI_DECODER_RESULT_ERROR) return Status::Damaged;
    return result == BROTLI_DECODER_RESULT_SUCCESS ? Status::Ended : Status::Going;
  }

 private:
  BrotliDecoderState* decoder_;
};

class ZstdLayer final : public Layer {
 public:
  static constexpr int kLargestWindow = 23;  // 8 MB: what HTTP allows

  ZstdLayer() : decoder_(ZSTD_createDCtx()) {
    if (!decoder_) throw std::bad_alloc();
    ZSTD_DCtx_setParameter(decoder_, ZSTD_d_windowLogMax, kLargestWindow);
  }
  ~ZstdLayer() override { ZSTD_freeDCtx(decoder_); }

  Status decode(std::string_view* in, char* out, std::size_t* size) override {
    ZSTD_inBuffer input{in->data(), in->size(), 0};
    ZSTD_outBuffer output{out, *size, 0};
    const std::size_t result = ZSTD_decompressStream(decoder_, &output, &input);
    in->remove_prefix(input.pos);
    const bool damaged = ZSTD_isError(result) != 0;
    *size = damaged ? 0 : output.pos;  // after an error it counts bytes that were never written
    return damaged ? Status::Damaged : Status::Going;
  }

 private:
  ZSTD_DCtx* decoder_;
};

}  // namespace

std::unique_ptr<Layer> makeLayer(Coding coding) {
  switch (coding) {
    case Coding::Gzip:
      return std::make_unique<ZlibLayer>(true);
    case Coding::Deflate:
      return std::make_unique<ZlibLayer>(false);
    case Coding::Brotli:
      return std::make_unique<BrotliLayer>();
    case Coding::Zstd:
      break;
  }
  return std::make_unique<ZstdLayer>();
}

}  // namespace sifterra::icap
