#include "sifterra/platform/PropertyList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "platform/BinaryListWriter.h"

namespace sifterra::platform {
namespace {

using Kind = PropertyList::Kind;
using Format = PropertyList::Format;
using Entry = PropertyList::Entry;

PropertyList text(const char16_t* value) {
  return PropertyList(String(value));
}
PropertyList::Reading read(const std::string& bytes) {
  return PropertyList::read(Data(bytes));
}
PropertyList::Reading readXML(const std::string& body) {
  return read("<?xml version=\"1.0\"?><plist version=\"1.0\">" + body + "</plist>");
}
std::string repeated(const std::string& piece, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += piece;
  return result;
}
std::string problemOf(const PropertyList::Reading& reading) {
  EXPECT_TRUE(reading.ok() || reading.value.isNull());
  return reading.ok() ? "" : reading.problem.toUTF8();
}

// One value of every kind.
PropertyList everything() {
  return PropertyList(std::vector<Entry>{
      {String(u"yes"), PropertyList(true)},
      {String(u"no"), PropertyList(false)},
      {String(u"one"), PropertyList(std::int64_t{1})},
      {String(u"negative"), PropertyList(std::int64_t{-5})},
      {String(u"smallest"), PropertyList(std::numeric_limits<std::int64_t>::min())},
      {String(u"largest"), PropertyList(std::numeric_limits<std::uint64_t>::max())},
      {String(u"real"), PropertyList(0.1)},
      {String(u"large real"), PropertyList(1e300)},
      {String(u"text"), text(u"a<b>&\"c\" \u00E4\u4E00\U0001F600\n")},
      {String(u""), text(u"")},
      {String(u"data"), PropertyList(Data(std::string("\0\xFF!", 3)))},
      {String(u"no data"), PropertyList(Data(std::string()))},
      {String(u"date"), PropertyList(PropertyList::Date{600'000'000, 0})},
      {String(u"early"), PropertyList(PropertyList::Date{-600'000'000, 0})},
      {String(u"list"),
       PropertyList(std::vector<PropertyList>{text(u"a"), PropertyList(std::vector<PropertyList>{})})},
      {String(u"empty"), PropertyList(std::vector<Entry>{})}});
}

TEST(PropertyList, EveryKindComesBackFromBothForms) {
  const PropertyList list = everything();
  for (const Format format : {Format::XML, Format::Binary}) {
    const Data bytes = list.write(format);
    ASSERT_FALSE(bytes.isNull());
    const auto reading = PropertyList::read(bytes);
    ASSERT_TRUE(reading.ok()) << reading.problem.toUTF8();
    EXPECT_EQ(reading.format, format);
    ASSERT_EQ(reading.value.dictionary().size(), list.dictionary().size());
    for (std::size_t i = 0; i < list.dictionary().size(); ++i) {
      SCOPED_TRACE(list.dictionary()[i].key.toUTF8());
      EXPECT_EQ(reading.value.dictionary()[i].key, list.dictionary()[i].key);
      EXPECT_TRUE(reading.value.dictionary()[i].value == list.dictionary()[i].value);
    }
    EXPECT_TRUE(reading.value == list);
    EXPECT_EQ(reading.value.write(format).chars(), bytes.chars());
  }
}

TEST(PropertyList, AnUidComesBackFromTheBinaryForm) {
  const PropertyList list(std::vector<PropertyList>{PropertyList(PropertyList::Uid{7})});
  const auto reading = PropertyList::read(list.write(Format::Binary));
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(reading.value.array()[0].uid().number, 7U);
}

TEST(PropertyList, GettersOfAnotherKindAnswerNothing) {
  const PropertyList null;
  EXPECT_EQ(null.kind(), Kind::Null);
  EXPECT_FALSE(null);
  for (const PropertyList& value : {null, text(u"5"), PropertyList(std::vector<PropertyList>{})}) {
    EXPECT_FALSE(value.boolean());
    EXPECT_EQ(value.integer(), 0);
    EXPECT_EQ(value.unsignedInteger(), 0U);
    EXPECT_EQ(value.real(), 0);
    EXPECT_TRUE(value.data().isNull());
    EXPECT_EQ(value.date(), PropertyList::Date());
    EXPECT_EQ(value.uid(), PropertyList::Uid());
    EXPECT_TRUE(value.dictionary().empty());
    EXPECT_TRUE(value[u"key"].isNull());
  }
  EXPECT_TRUE(PropertyList(true).string().isNull());
  EXPECT_TRUE(PropertyList(true).array().empty());
  EXPECT_TRUE(PropertyList(String()).isNull());
  EXPECT_TRUE(PropertyList(Data()).isNull());
}

TEST(PropertyList, NumbersHaveOneForm) {
  EXPECT_TRUE(PropertyList(std::uint64_t{5}) == PropertyList(std::int64_t{5}));
  const PropertyList large(std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(large.integer(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(large.unsignedInteger(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(PropertyList(std::int64_t{-5}).unsignedInteger(), 0U);
  EXPECT_FALSE(large == PropertyList(std::int64_t{-1}));
}

TEST(PropertyList, OfRepeatedKeysTheLastHolds) {
  for (const int others : {0, 100}) {  // few keys are looked through, many sorted
    std::vector<Entry> entries{{String(u"k"), text(u"first")}, {String(u"l"), text(u"other")}};
    for (int i = 0; i < others; ++i)
      entries.push_back({String::fromUTF8("x" + std::to_string(i)), PropertyList(true)});
    entries.push_back({String(u"k"), text(u"last")});
    const PropertyList list(entries);
    EXPECT_EQ(list.dictionary().size(), 2U + static_cast<unsigned>(others));
    EXPECT_EQ(list.dictionary()[0].value.string(), String(u"last"));
    EXPECT_EQ(list[u"k"].string(), String(u"last"));
  }
  const auto xml = readXML("<dict><key>k</key><string>a</string><key>k</key><string>b</string></dict>");
  EXPECT_EQ(xml.value[u"k"].string(), String(u"b"));
}

TEST(PropertyList, TruthIsThatOfTheValue) {
  EXPECT_FALSE(PropertyList().truth());
  EXPECT_TRUE(PropertyList(true).truth());
  EXPECT_FALSE(PropertyList(false).truth());
  EXPECT_TRUE(PropertyList(std::int64_t{-1}).truth());
  EXPECT_FALSE(PropertyList(std::int64_t{0}).truth());
  EXPECT_TRUE(PropertyList(std::numeric_limits<std::uint64_t>::max()).truth());
  EXPECT_TRUE(PropertyList(0.5).truth());
  EXPECT_FALSE(PropertyList(-0.0).truth());
  EXPECT_TRUE(PropertyList(std::nan("")).truth());
  for (const char16_t* yes : {u"Y", u"yes", u"T", u"true", u"1", u"9x", u"  +07", u"-3"})
    EXPECT_TRUE(text(yes).truth());
  for (const char16_t* no : {u"", u"n", u"0", u"00", u"off", u"+", u"-0", u" ", u"\u0661"})
    EXPECT_FALSE(text(no).truth());
  EXPECT_TRUE(PropertyList(std::vector<PropertyList>{}).truth());
  EXPECT_TRUE(PropertyList(Data(std::string())).truth());
  EXPECT_TRUE(PropertyList(PropertyList::Date()).truth());
}

TEST(PropertyListReading, TakesAByteOrderMarkCommentsAndCDATA) {
  EXPECT_EQ(read("\xEF\xBB\xBF<plist><string>a</string></plist>").value.string(), String(u"a"));
  EXPECT_EQ(readXML("<!-- <array> --><string>a<!-- b --><![CDATA[<c>]]></string>").value.string(),
            String(u"a<c>"));
  EXPECT_EQ(readXML("<string>&lt;&amp;&#65;&#x42;</string>").value.string(), String(u"<&AB"));
  EXPECT_EQ(read("<!DOCTYPE plist SYSTEM \"plist.dtd\"><plist><array/></plist>").value.kind(), Kind::Array);
}

TEST(PropertyListReading, RepairsTextThatIsNotUTF8) {
  EXPECT_EQ(readXML("<string>caf\xE9</string>").value.string(), String(u"caf\uFFFD"));
}

TEST(PropertyListReading, TellsWhatIsWrong) {
  struct Row {
    std::string bytes;
    const char* problem;
  };
  const std::string p = "<plist>";
  const Row rows[] = {
      {"", "it is neither an XML nor a binary property list"},
      {"junk", "it is neither an XML nor a binary property list"},
      {std::string("<plist>\0</plist>", 16), "it is neither an XML nor a binary property list"},
      {"<!-- only a comment -->", "it is neither an XML nor a binary property list"},
      {"<!-- open", "it ends in the middle of its markup"},
      {"<?xml", "it ends in the middle of its markup"},
      {"<!DOCTYPE plist", "it ends in the middle of its markup"},
      {p + "<array", "it ends in the middle of its markup"},
      {p + "<string>a<![CDATA[b", "it ends in the middle of its markup"},
      {p + "<array>", "an element is not closed"},
      {p + "<string>", "an element is not closed"},
      {p + "<array></dict>", "an end tag stands in the wrong place"},
      {"</array>", "an end tag stands in the wrong place"},
      {p + "<array>x</array></plist>", "there is text where no text belongs"},
      {p + "<string>a<b/></string></plist>", "a text holds markup"},
      {p + "<plist/>", "a plist element stands in the wrong place"},
      {p + "<set/>", "it holds an element that property lists do not have"},
      {p + "<ARRAY/>", "it holds an element that property lists do not have"},
      {"<?xml a='?><plist><array/></plist>", "a processing instruction holds a single quote"},
      {"<!DOCTYPE plist \"><plist><array/></plist>", "its document type holds a single quote"},
      {"<plist a='><array/></plist>", "a tag holds a single quote"},
      {"<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>",
       "its document type declares entities"},
      {p + "<string>&unknown;</string></plist>", "it does not parse"},
      {p + "<dict><true/></dict></plist>", "it does not parse"},
      {p + "</plist>", "it does not parse"},
      {"bplist01" + std::string(40, '\0'), "it is a binary property list of an unknown version"},
      {"bplist00" + std::string(40, '\0'), "its table of objects is damaged"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.bytes);
    EXPECT_EQ(problemOf(read(row.bytes)), row.problem);
  }
}

TEST(PropertyListReading, TakesSixtyFourLevelsAndNoMore) {
  const auto nested = [](int depth) { return repeated("<array>", depth) + repeated("</array>", depth); };
  EXPECT_TRUE(readXML(nested(64)).ok());
  EXPECT_EQ(problemOf(readXML(nested(65))), "it is nested deeper than 64 levels");
  EXPECT_EQ(problemOf(readXML(nested(1'000'000))), "it is nested deeper than 64 levels");
  EXPECT_EQ(problemOf(readXML(repeated("<dict><key>k</key>", 65) + "<true/>" + repeated("</dict>", 65))),
            "it is nested deeper than 64 levels");
  PropertyList list(std::vector<PropertyList>{});
  for (int depth = 1; depth < 64; ++depth) list = PropertyList(std::vector<PropertyList>{list});
  for (const Format format : {Format::XML, Format::Binary})
    EXPECT_TRUE(PropertyList::read(list.write(format)).ok());
  // One level more cannot be written, since it could not be read.
  for (const Format format : {Format::XML, Format::Binary})
    EXPECT_TRUE(PropertyList(std::vector<PropertyList>{list}).write(format).isNull());
}

TEST(PropertyListReading, BoundsTheDepthOfBinaryLists) {
  EXPECT_TRUE(read(BinaryListWriter::chain(64)).ok());
  EXPECT_EQ(problemOf(read(BinaryListWriter::chain(65))), "it is nested deeper than 64 levels");
  EXPECT_EQ(problemOf(read(BinaryListWriter::chain(1'000'000))), "it is nested deeper than 64 levels");
}

TEST(PropertyListReading, RefusesBinaryListsThatHoldThemselves) {
  BinaryListWriter self;
  self.array({0});
  EXPECT_EQ(problemOf(read(self.bytes())), "an object holds itself");
  BinaryListWriter two;
  two.array({1});
  two.array({0});
  EXPECT_EQ(problemOf(read(two.bytes())), "an object holds itself");
}

TEST(PropertyListReading, RefusesKeysThatAreNoTextsOrHoldZeros) {
  const auto withKey = [](const auto& addKey) {
    BinaryListWriter writer;
    writer.dictionary(1, 2);
    addKey(writer);
    writer.ascii("value");
    return problemOf(read(writer.bytes()));
  };
  constexpr auto kProblem = "a key of a dictionary is no text";
  EXPECT_EQ(withKey([](BinaryListWriter& writer) { writer.ascii("key"); }), "");
  EXPECT_EQ(withKey([](BinaryListWriter& writer) { writer.utf16(u"k\u4E00"); }), "");
  EXPECT_EQ(withKey([](BinaryListWriter& writer) { writer.array({}); }), kProblem);
  EXPECT_EQ(withKey([](BinaryListWriter& writer) { writer.ascii(std::string("k\0y", 3)); }), kProblem);
  EXPECT_EQ(withKey([](BinaryListWriter& writer) { writer.utf16(std::u16string(u"k\0y", 3)); }), kProblem);
}

TEST(PropertyListReading, CountsSharedPartsEachTime) {
  // 60 levels of two references each: 2^60 values.
  EXPECT_EQ(problemOf(read(BinaryListWriter::doubling(60, "leaf"))), "it holds more than 2,000,000 values");
  EXPECT_TRUE(read(BinaryListWriter::doubling(10, "leaf")).ok());
  // 2^15 copies of 8 KiB.
  EXPECT_EQ(problemOf(read(BinaryListWriter::doubling(15, std::string(8192, 'x')))),
            "its shared parts unfold to more than 64 MiB");
}

TEST(PropertyListReading, RefusesDamagedBinaryLists) {
  const std::string whole(everything().write(Format::Binary).chars());
  ASSERT_TRUE(read(whole).ok());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(read(whole.substr(0, length)).ok()) << length;
  }
  // Each byte changed in every bit: no crash, whatever comes out.
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string changed = whole;
      changed[i] = static_cast<char>(changed[i] ^ (1 << bit));
      (void)read(changed);
    }
  }
}

TEST(PropertyListReading, BoundsTheNumberOfValues) {
  EXPECT_TRUE(readXML("<array>" + repeated("<true/>", 1'999'999) + "</array>").ok());
  EXPECT_EQ(problemOf(readXML("<array>" + repeated("<true/>", 2'000'000) + "</array>")),
            "it holds more than 2,000,000 values");
}

TEST(PropertyListReading, BoundsTheSize) {
  EXPECT_EQ(problemOf(read(std::string((std::size_t{64} << 20) + 1, ' '))),
            "it is larger than 67108864 bytes");
}

TEST(PropertyListReading, BoundsTheWorkOnCharacterReferences) {
  EXPECT_TRUE(readXML("<string>" + repeated("&amp;", 10'000) + "</string>").ok());
  EXPECT_EQ(problemOf(readXML("<string>" + repeated("&amp;", 1'000'000) + "</string>")),
            "its texts hold too many character references");
  // Short texts may have as many as they like.
  EXPECT_TRUE(readXML("<array>" + repeated("<string>&amp;&amp;</string>", 100'000) + "</array>").ok());
}

TEST(PropertyListReading, BoundsTheWorkOnDictionaries) {
  const auto keys = [](int count, const char* name) {
    std::string body;
    for (int i = 0; i < count; ++i)
      body.append("<key>").append(name).append(std::to_string(i)).append("</key><true/>");
    return body;
  };
  const auto dictionary = [](const std::string& body) { return readXML("<dict>" + body + "</dict>"); };
  constexpr auto kProblem = "its dictionaries hold too many keys";
  EXPECT_TRUE(dictionary(keys(5793, "k")).ok());
  EXPECT_EQ(problemOf(dictionary(keys(5794, "k"))), kProblem);
  // For each repeated key libplist walks the whole dictionary.
  EXPECT_EQ(problemOf(dictionary(keys(5000, "k") + repeated("<key>k4999</key><true/>", 5000))), kProblem);
  // All dictionaries together count, each by its own keys.
  const std::string thousand = "<dict>" + keys(1000, "k") + "</dict>";
  EXPECT_TRUE(readXML("<array>" + repeated(thousand, 33) + "</array>").ok());
  EXPECT_EQ(problemOf(readXML("<array>" + repeated(thousand, 34) + "</array>")), kProblem);
  EXPECT_TRUE(readXML("<array>" + repeated("<dict>" + keys(7, "k") + "</dict>", 100'000) + "</array>").ok());
}

TEST(PropertyListReading, BoundsTheTableOfABinaryList) {
  // One object, the value true, under as many numbers.
  const auto sameObject = [](std::size_t count) {
    const auto number = [](std::uint64_t value) {
      std::string text;
      for (int shift = 56; shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 0xFF);
      return text;
    };
    return "bplist00\x09" + std::string(count, '\x08') + std::string(6, '\0') + "\1\4" + number(count) +
           number(0) + number(9);
  };
  EXPECT_TRUE(read(sameObject(2'000'000)).ok());
  EXPECT_EQ(problemOf(read(sameObject(2'000'001))), "it holds more than 2,000,000 values");
}

TEST(PropertyListWriting, WritesNothingThatCouldNotBeRead) {
  EXPECT_TRUE(PropertyList().write(Format::XML).isNull());
  EXPECT_TRUE(PropertyList(std::vector<PropertyList>{PropertyList()}).write(Format::Binary).isNull());
  EXPECT_TRUE(PropertyList(String(std::u16string(u"a\0b", 3))).write(Format::XML).isNull());
  EXPECT_TRUE(PropertyList(std::vector<Entry>{{String(std::u16string(u"a\0", 2)), PropertyList(true)}})
                  .write(Format::XML)
                  .isNull());
  std::vector<Entry> entries;
  for (int i = 0; i < 5793; ++i) entries.push_back({String::fromUTF8(std::to_string(i)), PropertyList(true)});
  for (const Format format : {Format::XML, Format::Binary}) {
    EXPECT_FALSE(PropertyList(entries).write(format).isNull());
    auto more = entries;
    more.push_back({String(u"one more"), PropertyList(true)});
    EXPECT_TRUE(PropertyList(more).write(format).isNull());
  }
}

}  // namespace
}  // namespace sifterra::platform
