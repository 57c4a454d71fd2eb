// Words for the number and the size of images.
#include "sifterra/text/WFDocumentStructureTag.h"

#include <gtest/gtest.h>

#include <limits>

#include "sifterra/text/WFWebPageDecorator.h"

namespace sifterra {
namespace {

using platform::String;

struct Row {
  std::int64_t count;
  const char16_t* word;
};

TEST(DocumentStructureTag, NamesTheNumberOfImages) {
  const Row rows[] = {
      {std::numeric_limits<std::int64_t>::max(), u"ImageCount100WebFilterTag"},
      {1000, u"ImageCount100WebFilterTag"},
      {100, u"ImageCount100WebFilterTag"},
      {99, u"ImageCount90WebFilterTag"},
      {90, u"ImageCount90WebFilterTag"},
      {89, u"ImageCount80WebFilterTag"},
      {79, u"ImageCount70WebFilterTag"},
      {69, u"ImageCount60WebFilterTag"},
      {59, u"ImageCount50WebFilterTag"},
      {49, u"ImageCount40WebFilterTag"},
      {39, u"ImageCount30WebFilterTag"},
      {29, u"ImageCount20WebFilterTag"},
      {19, u"ImageCount10WebFilterTag"},
      {10, u"ImageCount10WebFilterTag"},
      {9, u"ImageCount5WebFilterTag"},
      {6, u"ImageCount5WebFilterTag"},
      {5, u"ImageCount2WebFilterTag"},  // five are in the bucket labelled 2
      {3, u"ImageCount2WebFilterTag"},
      {2, u"ImageCount1WebFilterTag"},
      {1, u"ImageCount1WebFilterTag"},
      {0, u"NoImagesWebFilterTag"},
      {-1, u"NoImagesWebFilterTag"},
      {std::numeric_limits<std::int64_t>::min(), u"NoImagesWebFilterTag"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.count);
    EXPECT_EQ(WFDocumentStructureTag::tagForNumberOfImages(row.count), String(row.word));
  }
}

TEST(DocumentStructureTag, NamesTheNumberOfPixels) {
  const Row rows[] = {
      {std::numeric_limits<std::int64_t>::max(), u"Images2MegaPixelsWebFilterTag"},
      {2000001, u"Images2MegaPixelsWebFilterTag"},
      {2000000, u"Images1MegaPixelsWebFilterTag"},
      {1000001, u"Images1MegaPixelsWebFilterTag"},
      {1000000, u"Images700KiloPixelsWebFilterTag"},
      {700001, u"Images700KiloPixelsWebFilterTag"},
      {700000, u"Images400KiloPixelsWebFilterTag"},
      {400000, u"Images100KiloPixelsWebFilterTag"},
      {100000, u"Images50KiloPixelsWebFilterTag"},
      {50000, u"Images25KiloPixelsWebFilterTag"},
      {25000, u"Images15KiloPixelsWebFilterTag"},
      {15000, u"Images5KiloPixelsWebFilterTag"},
      {5001, u"Images5KiloPixelsWebFilterTag"},
      {5000, u"ImagesNoPixelsWebFilterTag"},
      {0, u"ImagesNoPixelsWebFilterTag"},
      {-40, u"ImagesNoPixelsWebFilterTag"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.count);
    EXPECT_EQ(WFDocumentStructureTag::tagForNumberOfPixels(row.count), String(row.word));
  }
}

TEST(DocumentStructureTag, TellsBothWithTheirNumbers) {
  const auto page =
      WFWebPageDecorator::webPageWithString(String(u"<img width=100 height=60><img width=1 height=2><img>"));
  EXPECT_EQ(WFDocumentStructureTag().tagWithWebpage(*page),
            String(u"Images5KiloPixelsWebFilterTag (TotAreaWFImagesTag:6002) | "
                   u"ImageCount2WebFilterTag (TotNumWFImagesTag:3)"));
  EXPECT_EQ(WFDocumentStructureTag().tagWithWebpage(WFWebPageDecorator(platform::Data())),
            String(u"ImagesNoPixelsWebFilterTag (TotAreaWFImagesTag:0) | "
                   u"NoImagesWebFilterTag (TotNumWFImagesTag:0)"));
}

}  // namespace
}  // namespace sifterra
