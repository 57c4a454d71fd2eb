#include "services/icap/compressed.h"

#include <brotli/encode.h>
#include <zlib.h>
#include <zstd.h>

#include <cstdint>
#include <stdexcept>

namespace sifterra::icap {
namespace {

std::string deflatedWith(std::string_view bytes, int windowBits) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 9, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::runtime_error("deflateInit2");
  std::string out(deflateBound(&stream, bytes.size()) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  out.resize(out.size() - stream.avail_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("deflate");
  return out;
}

}  // namespace

std::string gzipped(std::string_view bytes) {
  return deflatedWith(bytes, MAX_WBITS + 16);
}

std::string zlibDeflated(std::string_view bytes) {
  return deflatedWith(bytes, MAX_WBITS);
}

std::string bareDeflated(std::string_view bytes) {
  return deflatedWith(bytes, -MAX_WBITS);
}

std::string brotliCompressed(std::string_view bytes) {
  std::size_t size = BrotliEncoderMaxCompressedSize(bytes.size()) + 64;
  std::string out(size, '\0');
  if (!BrotliEncoderCompress(5, BROTLI_DEFAULT_WINDOW, BROTLI_MODE_TEXT, bytes.size(),
                             reinterpret_cast<const std::uint8_t*>(bytes.data()), &size,
                             reinterpret_cast<std::uint8_t*>(out.data())))
    throw std::runtime_error("brotli");
  out.resize(size);
  return out;
}

std::string zstdCompressed(std::string_view bytes, int windowLog) {
  ZSTD_CCtx* context = ZSTD_createCCtx();
  if (windowLog != 0) {
    // A window larger than the text is written into the frame only where its size is not known beforehand.
    ZSTD_CCtx_setParameter(context, ZSTD_c_windowLog, windowLog);
    ZSTD_CCtx_setParameter(context, ZSTD_c_contentSizeFlag, 0);
  }
  std::string out(ZSTD_compressBound(bytes.size()) + 64, '\0');
  ZSTD_inBuffer input{bytes.data(), bytes.size(), 0};
  ZSTD_outBuffer output{out.data(), out.size(), 0};
  // In two steps, so that the size is not known at the first.
  ZSTD_compressStream2(context, &output, &input, ZSTD_e_flush);
  const std::size_t left = ZSTD_compressStream2(context, &output, &input, ZSTD_e_end);
  ZSTD_freeCCtx(context);
  if (left != 0) throw std::runtime_error("zstd");
  out.resize(output.pos);
  return out;
}

}  // namespace sifterra::icap
