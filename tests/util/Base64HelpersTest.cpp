// Tests of text in and out of base64.
#include "util/base64_helpers.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/Log.h"

namespace sifterra {
namespace {

using platform::Data;
using platform::String;

TEST(Base64Helpers, EncodesTheUTF8BytesOfText) {
  EXPECT_EQ(base64FromString(String(u"a")), String(u"YQ=="));
  EXPECT_EQ(base64FromString(String(u"Caf\u00E9")), String(u"Q2Fmw6k="));
  EXPECT_EQ(base64FromString(String(u"\U0001F600")), String(u"8J+YgA=="));
  EXPECT_EQ(base64FromString(String(std::u16string_view(u"\0", 1))), String(u"AA=="));
}

TEST(Base64Helpers, EncodesAHundredCharactersOnOneLine) {
  const String text = base64FromString(String(std::u16string(100, u'x')));
  EXPECT_EQ(text.length(), 136U);
  EXPECT_EQ(text.view().find(u'\n'), std::u16string_view::npos);
}

TEST(Base64Helpers, TitlesInAnyScriptComeBackUnchanged) {
  const char16_t* const titles[] = {u"", u"Stra\u00DFe und \u0416\u0443\u043A", u"\u5FEB\u4E50 \U0001F600",
                                    u"\uFEFFmark", u"two\nlines\t"};
  for (const char16_t* title : titles) {
    const String text(title);
    SCOPED_TRACE(text.toUTF8());
    EXPECT_EQ(stringFromBase64(base64FromString(text)), text);
  }
}

TEST(Base64Helpers, EmptyTextIsEmptyBothWays) {
  EXPECT_EQ(base64FromString(String(u"")), String(u""));
  const Data data = dataFromBase64(String(u""));
  EXPECT_FALSE(data.isNull());
  EXPECT_EQ(data.length(), 0U);
  EXPECT_EQ(stringFromBase64(String(u"")), String(u""));
}

TEST(Base64Helpers, DecodesBytesThatAreNoText) {
  EXPECT_EQ(dataFromBase64(String(u"//79")).chars(), "\xFF\xFE\xFD");
  EXPECT_TRUE(stringFromBase64(String(u"//79")).isNull());
  EXPECT_TRUE(stringFromBase64(String(u"7aCA")).isNull());  // a surrogate, spelt in three bytes
}

TEST(Base64Helpers, AnswerNullForEveryFailureAndLogNothing) {
  const platform::CapturedLog log;
  const String lone(std::u16string(1, static_cast<char16_t>(0xD800)));
  EXPECT_TRUE(base64FromString(nullptr).isNull());
  EXPECT_TRUE(base64FromString(lone).isNull());
  EXPECT_TRUE(base64FromString(String(std::u16string{u'a', static_cast<char16_t>(0xDC00)})).isNull());
  for (const String& text : {String(), lone, String(u"not base64"), String(u"YQ"), String(u"YQ==\n"),
                             String(u"Y\u0110=="), String(u"\uFF39\uFF31==")}) {
    EXPECT_TRUE(dataFromBase64(text).isNull()) << text.toUTF8();
    EXPECT_TRUE(stringFromBase64(text).isNull()) << text.toUTF8();
  }
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace sifterra
