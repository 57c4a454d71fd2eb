#include "input/GzipStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

constexpr std::size_t kLimit = 1 << 20;

std::string unpacked(std::string_view bytes, std::size_t chunk = SIZE_MAX,
                     GzipStream::Format format = GzipStream::Format::Detect) {
  GzipStream stream(std::make_unique<MemoryStream>(bytes, chunk), format);
  return readAll(stream, kLimit);
}

std::string failureOf(std::string_view bytes) {
  try {
    static_cast<void>(unpacked(bytes));
  } catch (const InputError& error) {
    return error.what();
  }
  return "none";
}

TEST(GzipStream, PassesOnWhatIsNotCompressed) {
  EXPECT_EQ(unpacked("<html>"), "<html>");
  EXPECT_EQ(unpacked(""), "");
  EXPECT_EQ(unpacked("\x1f"), "\x1f");
}

TEST(GzipStream, JoinsSeveralMembersWhateverTheReadSize) {
  const std::string big(200000, 'x');
  const std::string bytes = gzipped("one ") + gzipped("") + gzipped(big) + gzipped(" three");
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{7}, std::size_t{4096}, SIZE_MAX}) {
    SCOPED_TRACE(chunk);
    EXPECT_EQ(unpacked(bytes, chunk), "one " + big + " three");
  }
}

TEST(GzipStream, IgnoresZeroPaddingBehindTheLastMember) {
  EXPECT_EQ(unpacked(gzipped("page") + std::string(512, '\0')), "page");
}

TEST(GzipStream, ReportsOtherDataBehindAMember) {
  const std::string member = gzipped("page");
  EXPECT_EQ(failureOf(member + "tail"),
            "other data behind the compressed data (at byte " + std::to_string(member.size()) + ")");
}

TEST(GzipStream, ReportsDataThatEndsEarly) {
  const std::string member = gzipped("a page of some length");
  const std::string cut = member.substr(0, member.size() - 3);
  EXPECT_EQ(failureOf(cut), "compressed data ends early (at byte " + std::to_string(cut.size()) + ")");
}

TEST(GzipStream, ReportsDamage) {
  std::string member = gzipped(std::string(5000, 'a') + "end");
  member[member.size() - 6] = static_cast<char>(member[member.size() - 6] ^ 0x55);  // inside the check sum
  EXPECT_THAT(failureOf(member), testing::StartsWith("damaged compressed data (at byte "));
}

TEST(GzipStream, GivesWhatPrecedesTheDamageFirst) {
  const std::string bytes = gzipped("whole") + "garbage";
  GzipStream stream(std::make_unique<MemoryStream>(bytes));
  char buffer[64];
  EXPECT_EQ(std::string(buffer, stream.read(buffer, sizeof buffer)), "whole");
  EXPECT_THROW(static_cast<void>(stream.read(buffer, sizeof buffer)), InputError);
}

TEST(GzipStream, ReadsBothFormsOfDeflate) {
  EXPECT_EQ(unpacked(deflated("page", true), SIZE_MAX, GzipStream::Format::Zlib), "page");
  EXPECT_EQ(unpacked(deflated("page", false), SIZE_MAX, GzipStream::Format::RawDeflate), "page");
}

TEST(ReadAll, RefusesMoreThanTheLimit) {
  MemoryStream exact("12345");
  EXPECT_EQ(readAll(exact, 5), "12345");
  MemoryStream longer("123456");
  EXPECT_THROW(static_cast<void>(readAll(longer, 5)), InputError);
}

}  // namespace
}  // namespace sifterra::tools
