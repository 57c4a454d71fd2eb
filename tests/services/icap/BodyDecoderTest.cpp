#include "BodyDecoder.h"

#include <gtest/gtest.h>

#include "services/icap/compressed.h"

namespace sifterra::icap {
namespace {

using State = BodyDecoder::State;

constexpr std::size_t kLimit = 100000;

std::string words(std::size_t size) {
  std::string text;
  for (unsigned n = 0; text.size() < size; ++n) text += "word " + std::to_string(n * 2654435761U) + "\n";
  text.resize(size);
  return text;
}

struct Decoded {
  std::string text;
  State state;
};

Decoded decode(const std::vector<Coding>& codings, std::string_view bytes, std::size_t step,
               std::size_t limit = kLimit) {
  BodyDecoder decoder(codings, limit);
  for (std::size_t at = 0; at < bytes.size(); at += step) decoder.write(bytes.substr(at, step));
  decoder.finish();
  return {decoder.text(), decoder.state()};
}

struct Row {
  const char* name;
  std::vector<Coding> codings;
  std::string (*encode)(std::string_view);
};
const Row kRows[] = {
    {"gzip", {Coding::Gzip}, gzipped},
    {"deflate with a header", {Coding::Deflate}, zlibDeflated},
    {"deflate without one", {Coding::Deflate}, bareDeflated},
    {"br", {Coding::Brotli}, brotliCompressed},
    {"zstd", {Coding::Zstd}, [](std::string_view bytes) { return zstdCompressed(bytes); }},
    {"gzip in br",
     {Coding::Gzip, Coding::Brotli},
     [](std::string_view b) { return brotliCompressed(gzipped(b)); }},
    {"three",
     {Coding::Zstd, Coding::Deflate, Coding::Gzip},
     [](std::string_view b) { return gzipped(bareDeflated(zstdCompressed(b))); }},
};

TEST(BodyDecoder, GivesBackWhatWasCompressedHoweverItArrives) {
  for (const Row& row : kRows) {
    for (const std::size_t size : {0UL, 1UL, 2UL, 5000UL, 99999UL}) {
      const std::string text = words(size);
      const std::string bytes = row.encode(text);
      for (const std::size_t step : {1UL, 7UL, 4096UL, 1000000UL}) {
        SCOPED_TRACE(std::string(row.name) + ", " + std::to_string(size) + " bytes by " +
                     std::to_string(step));
        const Decoded decoded = decode(row.codings, bytes, step);
        EXPECT_EQ(decoded.text, text);
        EXPECT_NE(decoded.state, State::Damaged);
        EXPECT_NE(decoded.state, State::Excessive);
      }
    }
  }
}

TEST(BodyDecoder, StopsAtTheLimit) {
  const std::string text = words(50000);
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    const Decoded decoded = decode(row.codings, row.encode(text), 512, 20000);
    EXPECT_EQ(decoded.state, State::Full);
    EXPECT_EQ(decoded.text, text.substr(0, 20000));
  }
}

TEST(BodyDecoder, KeepsWhatCameBeforeABodyEndsTooEarly) {
  const std::string text = words(50000);
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    const std::string bytes = row.encode(text);
    const Decoded decoded = decode(row.codings, bytes.substr(0, bytes.size() * 3 / 4), 512);
    EXPECT_NE(decoded.state, State::Damaged);
    EXPECT_EQ(text.compare(0, decoded.text.size(), decoded.text), 0);
  }
}

TEST(BodyDecoder, SaysWhenABodyIsNotWhatItsCodingsPromise) {
  const std::string page = "<html><body>no coding at all, however long the page is</body></html>";
  for (const Coding coding : {Coding::Gzip, Coding::Zstd})
    EXPECT_EQ(decode({coding}, page, 10).state, State::Damaged);
  std::string bytes = gzipped(words(50000));
  for (std::size_t at = bytes.size() / 2; at < bytes.size(); ++at) bytes[at] = static_cast<char>(at * 7);
  const Decoded decoded = decode({Coding::Gzip}, bytes, 512);
  EXPECT_EQ(decoded.state, State::Damaged);
  EXPECT_GT(decoded.text.size(), 1000U);
}

// The library counts bytes then that it has not written.
TEST(BodyDecoder, TakesNothingFromADamagedZstdFrame) {
  const std::string frame("\x27\xB5\x2F\xFD\x01\x00\x00\x01\x01\x00\xB4\x02<html><bod\0\0\0\0\0Y\0\0\0\0\0\0",
                          34);
  const Decoded decoded = decode({Coding::Zstd}, frame, 1000);
  EXPECT_EQ(decoded.state, State::Damaged);
  EXPECT_EQ(decoded.text, "");
}

TEST(BodyDecoder, ReadsMembersOneBehindTheOtherAndPassesOverWhatFollows) {
  const std::string members = gzipped("one, ") + gzipped("two");
  for (const std::size_t step : {1UL, 5UL, 1000UL}) {
    EXPECT_EQ(decode({Coding::Gzip}, members, step).text, "one, two");
    EXPECT_EQ(decode({Coding::Gzip}, members + "something else", step).text, "one, two");
    EXPECT_EQ(decode({Coding::Zstd}, zstdCompressed("one, ") + zstdCompressed("two"), step).text, "one, two");
  }
  EXPECT_EQ(decode({Coding::Gzip}, gzipped("one") + "x", 1).state, State::Ended);
  EXPECT_EQ(decode({Coding::Brotli}, brotliCompressed("one") + "x", 1000).state, State::Ended);
}

// Ten million bytes in a few thousand, and the same once more: neither memory nor time.
TEST(BodyDecoder, CutsABombShort) {
  const std::string bomb = gzipped(std::string(10000000, ' '));
  EXPECT_EQ(decode({Coding::Gzip}, bomb, 4096).text.size(), kLimit);
  EXPECT_EQ(decode({Coding::Gzip}, bomb, 4096).state, State::Full);
  EXPECT_EQ(decode({Coding::Brotli}, brotliCompressed(std::string(10000000, ' ')), 4096).state, State::Full);
  // Zeros that are no gzip end it at once; empty members go on and on.
  std::string empties;
  const std::string empty = gzipped("");
  while (empties.size() < BodyDecoder::kMostBetween + 1000000) empties += empty;
  EXPECT_EQ(decode({Coding::Gzip, Coding::Gzip}, gzipped(empties), 4096).state, State::Excessive);
}

TEST(BodyDecoder, RefusesWindowsThatHttpDoesNotAllow) {
  EXPECT_EQ(decode({Coding::Zstd}, zstdCompressed(words(5000), 23), 100).text, words(5000));
  EXPECT_EQ(decode({Coding::Zstd}, zstdCompressed(words(5000), 27), 100).state, State::Damaged);
}

TEST(ContentCoding, TakesTheNamesOfOneHeaderAfterTheOther) {
  std::vector<Coding> codings;
  EXPECT_TRUE(addCodings("gzip , BR,identity", &codings));
  EXPECT_TRUE(addCodings("", &codings));
  EXPECT_TRUE(addCodings(", x-gzip,", &codings));
  EXPECT_EQ(codings, (std::vector<Coding>{Coding::Gzip, Coding::Brotli, Coding::Gzip}));
  EXPECT_FALSE(addCodings("compress", &codings));
  EXPECT_FALSE(addCodings("gzip;q=1", &codings));
  EXPECT_TRUE(addCodings("zstd", &codings));
  EXPECT_FALSE(addCodings("deflate", &codings));  // a fifth
}

TEST(ContentCoding, LeavesOfAnOfferWhatCanBeRead) {
  EXPECT_EQ(readableEncodings("gzip, deflate, br;q=0.9, zstd"), std::nullopt);
  EXPECT_EQ(readableEncodings(""), std::nullopt);
  EXPECT_EQ(readableEncodings("identity"), std::nullopt);
  EXPECT_EQ(readableEncodings("gzip;q=0.5,dcb , br, dcz"), "gzip;q=0.5, br");
  EXPECT_EQ(readableEncodings("*"), "identity");
  EXPECT_EQ(readableEncodings("compress, *;q=0"), "identity");
}

}  // namespace
}  // namespace sifterra::icap
