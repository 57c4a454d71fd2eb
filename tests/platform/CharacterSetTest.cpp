// Tests of the names of encodings: the IANA registry's, exactly, and the labels of the web.
#include "platform/CharacterSet.h"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <set>

namespace sifterra::platform {
namespace {

struct Row {
  const char* name;
  const char* encoding;  // null: unknown
};

std::string text(const std::optional<std::string>& name) {
  return name.value_or("(none)");
}
std::string text(const char* name) {
  return name ? name : "(none)";
}

TEST(IANACharacterSet, GivesThePreferredMIMENameOrTheRegisteredOne) {
  constexpr Row kRows[] = {
      {"UTF-8", "UTF-8"},
      {"utf-8", "UTF-8"},
      {"csUTF8", "UTF-8"},
      {"latin1", "ISO-8859-1"},
      {"ISO_8859-1:1987", "ISO-8859-1"},
      {"ISO_8859-1", "ISO-8859-1"},
      {"iso-8859-1", "ISO-8859-1"},
      {"l1", "ISO-8859-1"},
      {"cp819", "ISO-8859-1"},
      {"us-ascii", "US-ASCII"},
      {"ASCII", "US-ASCII"},
      {"us", "US-ASCII"},
      {"windows-1252", "windows-1252"},
      {"cswindows1252", "windows-1252"},
      {"Shift_JIS", "Shift_JIS"},
      {"MS_Kanji", "Shift_JIS"},
      {"EUC-JP", "EUC-JP"},
      {"Extended_UNIX_Code_Packed_Format_for_Japanese", "EUC-JP"},
      {"ISO-2022-JP", "ISO-2022-JP"},
      {"gb2312", "GB2312"},
      {"gbk", "GBK"},
      {"windows-936", "GBK"},
      {"gb18030", "GB18030"},
      {"big5", "Big5"},
      {"big5-hkscs", "Big5-HKSCS"},
      {"euc-kr", "EUC-KR"},
      {"koi8-r", "KOI8-R"},
      {"koi8-u", "KOI8-U"},
      {"ISO_8859-5", "ISO-8859-5"},
      {"cyrillic", "ISO-8859-5"},
      {"hebrew", "ISO-8859-8"},
      {"latin-9", "ISO-8859-15"},
      {"l10", "ISO-8859-16"},
      {"tis-620", "TIS-620"},
      {"iso-8859-11", "TIS-620"},
      {"windows-874", "windows-874"},
      {"utf-16", "UTF-16"},
      {"utf-16le", "UTF-16LE"},
      {"ibm437", "IBM437"},
      {"mac", "macintosh"},
  };
  for (const Row& row : kRows)
    EXPECT_EQ(text(canonicalIANACharacterSetName(row.name)), text(row.encoding)) << row.name;
}

TEST(IANACharacterSet, KeepsApartWhatICUMerges) {
  constexpr Row kRows[] = {
      {"windows-31j", "Windows-31J"},         {"csWindows31J", "Windows-31J"},
      {"ks_c_5601-1987", "KS_C_5601-1987"},   {"korean", "KS_C_5601-1987"},
      {"iso-10646-ucs-2", "ISO-10646-UCS-2"}, {"iso-8859-8-i", "ISO-8859-8-I"},
      {"csISO88598E", "ISO-8859-8-E"},        {"iso-8859-6-e", "ISO-8859-6-E"},
      {"JIS_Encoding", "JIS_Encoding"},       {"cp851", "IBM851"},
  };
  for (const Row& row : kRows)
    EXPECT_EQ(text(canonicalIANACharacterSetName(row.name)), text(row.encoding)) << row.name;
}

TEST(IANACharacterSet, DoesNotKnowWhatOnlyBrowsersOrICUKnow) {
  for (const char* name : {"utf8",
                           "UTF_8",
                           "cp1252",
                           "x-sjis",
                           "sjis",
                           "shift-jis",
                           "iso8859-1",
                           "iso88591",
                           "latin-1",
                           "x-cp1251",
                           "unicode",
                           "koi",
                           "koi8",
                           "x-x-big5",
                           "dos-874",
                           "x-mac-cyrillic",
                           "ibm-912_P100-1995",
                           "ISO_2022,locale=ja",
                           "cp1250",
                           "",
                           " ",
                           "utf-8 ",
                           " utf-8",
                           "utf-8;",
                           "x-nonsense",
                           "utf\xC2\xAD-8",
                           "replacement"}) {
    EXPECT_EQ(text(canonicalIANACharacterSetName(name)), "(none)") << name;
  }
  EXPECT_FALSE(canonicalIANACharacterSetName(std::string_view("utf-8\0", 6)));
}

TEST(IANACharacterSet, CanonicalNamesAreTheirOwn) {
  UErrorCode error = U_ZERO_ERROR;
  for (std::int32_t i = 0; i < ucnv_countAvailable(); ++i) {
    UEnumeration* names = ucnv_openStandardNames(ucnv_getAvailableName(i), "IANA", &error);
    ASSERT_TRUE(U_SUCCESS(error));
    while (const char* name = uenum_next(names, nullptr, &error)) {
      const std::optional<std::string> canonical = canonicalIANACharacterSetName(name);
      ASSERT_TRUE(canonical) << name;
      EXPECT_EQ(text(canonicalIANACharacterSetName(*canonical)), *canonical) << name;
      EXPECT_LT(canonical->size(), 32U) << name;
    }
    uenum_close(names);
  }
}

TEST(WebEncoding, KnowsTheLabelsOfBrowsers) {
  constexpr Row kRows[] = {
      {"utf8", "UTF-8"},
      {"UTF-8", "UTF-8"},
      {"unicode-1-1-utf-8", "UTF-8"},
      {"latin1", "windows-1252"},
      {"ISO-8859-1", "windows-1252"},
      {"ascii", "windows-1252"},
      {"us-ascii", "windows-1252"},
      {"cp1252", "windows-1252"},
      {"x-sjis", "Shift_JIS"},
      {"windows-31j", "Shift_JIS"},
      {"gb2312", "GBK"},
      {"gb18030", "gb18030"},
      {"ks_c_5601-1987", "EUC-KR"},
      {"windows-949", "EUC-KR"},
      {"big5-hkscs", "Big5"},
      {"iso-8859-9", "windows-1254"},
      {"tis-620", "windows-874"},
      {"koi", "KOI8-R"},
      {"koi8-ru", "KOI8-U"},
      {"utf-16", "UTF-16LE"},
      {"utf-16be", "UTF-16BE"},
      {"unicode", "UTF-16LE"},
      {"logical", "ISO-8859-8-I"},
      {"visual", "ISO-8859-8"},
      {"mac", "macintosh"},
      {"x-mac-ukrainian", "x-mac-cyrillic"},
      {"x-user-defined", "x-user-defined"},
      {"iso-2022-kr", "replacement"},
      {"hz-gb-2312", "replacement"},
      {"866", "IBM866"},
      {"\t\n\f\r Utf-8 \r\f\n\t", "UTF-8"},
      {"utf-7", nullptr},
      {"utf-32", nullptr},
      {"utf-8;", nullptr},
      {"utf 8", nullptr},
      {"\v"
       "utf-8",
       nullptr},
      {"x-nonsense", nullptr},
      {"", nullptr},
      {"  ", nullptr},
  };
  for (const Row& row : kRows) EXPECT_EQ(text(webEncodingForLabel(row.name)), text(row.encoding)) << row.name;
}

constexpr Row kLabels[] = {
#include "platform/web_encoding_labels.inc"
};

TEST(WebEncoding, TableIsSortedAndEveryLabelIsFoundInIt) {
  EXPECT_EQ(std::size(kLabels), 228U);
  EXPECT_TRUE(std::is_sorted(std::begin(kLabels), std::end(kLabels),
                             [](const Row& a, const Row& b) { return std::string_view(a.name) < b.name; }));
  for (const Row& row : kLabels) {
    EXPECT_EQ(text(webEncodingForLabel(row.name)), row.encoding);
    EXPECT_TRUE(decodeBytes("x", row.encoding)) << row.encoding;
  }
}

TEST(WebEncoding, EncodingsAreLabelsOfThemselves) {
  std::set<std::string> encodings;
  for (const Row& row : kLabels) encodings.insert(row.encoding);
  EXPECT_EQ(encodings.size(), 40U);
  for (const std::string& encoding : encodings) EXPECT_EQ(text(webEncodingForLabel(encoding)), encoding);
}

}  // namespace
}  // namespace sifterra::platform
