// The factory: one instance per class, brackets, and a lock that is always given back.
#include "sifterra/text/WFTagFactory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>

#include "sifterra/text/WFDocumentStructureTag.h"
#include "sifterra/text/WFSlangTag.h"
#include "sifterra/text/WFWebPageDecorator.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::String;

int instances = 0;

class CountedTag : public WFTagFlyweight {
 public:
  static constexpr WFTagClass kClass = {"CountedTag", &WFMakeTag<CountedTag>};
  CountedTag() { ++instances; }
  [[nodiscard]] String tagWithWebpage(const WFWebPageDecorator&) const override { return String(u""); }
};

class ThrowingTag : public WFTagFlyweight {
 public:
  static constexpr WFTagClass kClass = {"ThrowingTag", &WFMakeTag<ThrowingTag>};
  [[nodiscard]] String tagWithWebpage(const WFWebPageDecorator&) const override {
    throw std::runtime_error("tag");
  }
};

// Asks the same factory again while it works.
class NestedTag : public WFTagFlyweight {
 public:
  static constexpr WFTagClass kClass = {"NestedTag", &WFMakeTag<NestedTag>};
  static inline WFTagFactory* factory = nullptr;
  [[nodiscard]] String tagWithWebpage(const WFWebPageDecorator& page) const override {
    return factory->tagWithClass(WFSlangTag::kClass, page);
  }
};

TEST(WFTagFactory, IsOneForTheProcess) {
  EXPECT_EQ(&WFTagFactory::defaultFactory(), &WFTagFactory::defaultFactory());
}

TEST(WFTagFactory, KeepsOneInstancePerClass) {
  WFTagFactory factory;
  const WFWebPageDecorator page(fakePage(u""));
  instances = 0;
  EXPECT_EQ(factory.tagWithClass(CountedTag::kClass, page), String(u"[  ]"));  // an empty tag is a tag
  EXPECT_EQ(factory.tagWithClass(CountedTag::kClass, page), String(u"[  ]"));
  EXPECT_EQ(instances, 1);
}

TEST(WFTagFactory, PutsTheTagBetweenBracketsAndNullNowhere) {
  WFTagFactory factory;
  EXPECT_EQ(factory.tagWithClass(WFSlangTag::kClass, WFWebPageDecorator(fakePage(u"69"))),
            String(u"[ SixtyNineWebFilterTag  ]"));
  EXPECT_TRUE(factory.tagWithClass(WFSlangTag::kClass, WFWebPageDecorator(fakePage(u"70"))).isNull());
}

TEST(WFTagFactory, AsksNoOtherClassThanTheTwo) {
  const auto page = WFWebPageDecorator::webPageWithString(String(u"<img width=2000 height=2000>"));
  EXPECT_EQ(WFTagFactory::tagsForWebpage(*page), String(u""));
}

TEST(WFTagFactory, MayBeAskedAgainByATagClass) {
  WFTagFactory factory;
  NestedTag::factory = &factory;
  EXPECT_EQ(factory.tagWithClass(NestedTag::kClass, WFWebPageDecorator(fakePage(u"69"))),
            String(u"[ [ SixtyNineWebFilterTag  ] ]"));
}

TEST(WFTagFactory, GivesItsLockBackWhenATagClassThrows) {
  WFTagFactory factory;
  const WFWebPageDecorator page(fakePage(u"69"));
  EXPECT_THROW((void)factory.tagWithClass(ThrowingTag::kClass, page), std::runtime_error);
  // Another thread gets through.
  auto other = std::async(std::launch::async, [&] { return factory.tagWithClass(WFSlangTag::kClass, page); });
  ASSERT_EQ(other.wait_for(std::chrono::seconds(60)), std::future_status::ready);
  EXPECT_EQ(other.get(), String(u"[ SixtyNineWebFilterTag  ]"));
}

}  // namespace
}  // namespace sifterra
