#include "platform/ReleaseScope.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/CHandles.h"

namespace sifterra::platform {
namespace {

// An object with a second reference, so that its count can be read after a scope gave up its own.
struct Counted {
  Counted() : object(createHandle(String(u"text"))) { WFRetain(object); }
  ~Counted() { WFRelease(object); }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  void handOut() const {
    const ReleaseScope::Call call;
    (void)ReleaseScope::adopt(object);
  }
  [[nodiscard]] bool held() const { return object->header.count.load() == 2; }
  WFStringRef object;
};

void handOutAnother() {
  const ReleaseScope::Call call;
  (void)borrowedHandle(String(u"another"));
}

TEST(ReleaseScope, HoldsUntilItEnds) {
  const Counted counted;
  ReleaseScope::begin();
  counted.handOut();
  for (int i = 0; i < 100; ++i) handOutAnother();
  EXPECT_TRUE(counted.held());
  ReleaseScope::end();
  EXPECT_FALSE(counted.held());
}

TEST(ReleaseScope, NestsAndTheInnermostHolds) {
  const Counted outer;
  const Counted inner;
  ReleaseScope::begin();
  outer.handOut();
  ReleaseScope::begin();
  inner.handOut();
  ReleaseScope::end();
  EXPECT_TRUE(outer.held());
  EXPECT_FALSE(inner.held());
  ReleaseScope::end();
  EXPECT_FALSE(outer.held());
}

TEST(ReleaseScope, WithoutOneTheNextCallThatHandsOutEndsIt) {
  const Counted counted;
  counted.handOut();
  EXPECT_TRUE(counted.held());
  handOutAnother();
  EXPECT_FALSE(counted.held());
}

TEST(ReleaseScope, ReadingRetainingAndReleasingEndNothing) {
  const Counted counted;
  counted.handOut();
  const WFStringRef other = WFStringCreateWithUTF8("other");
  (void)WFStringGetUTF8(other);
  WFRelease(WFRetain(other));
  WFRelease(other);
  EXPECT_TRUE(counted.held());
  handOutAnother();
}

TEST(ReleaseScope, AnArgumentFromTheCallBeforeLivesThroughTheCall) {
  const Counted counted;
  counted.handOut();
  {
    const ReleaseScope::Call call;
    EXPECT_TRUE(counted.held());
    (void)borrowedHandle(String(u"next"));
    EXPECT_TRUE(counted.held());
  }
  EXPECT_FALSE(counted.held());
}

TEST(ReleaseScope, ACallWithinACallEndsNothing) {
  const Counted counted;
  {
    const ReleaseScope::Call call;
    (void)ReleaseScope::adopt(counted.object);
    handOutAnother();
    EXPECT_TRUE(counted.held());
  }
  EXPECT_TRUE(counted.held());
  handOutAnother();
  EXPECT_FALSE(counted.held());
}

TEST(ReleaseScope, AnOpenScopeDoesNotEndWhatWasBorrowedBeforeIt) {
  const Counted counted;
  counted.handOut();
  ReleaseScope::begin();
  handOutAnother();
  ReleaseScope::end();
  EXPECT_TRUE(counted.held());
  handOutAnother();
  EXPECT_FALSE(counted.held());
}

TEST(ReleaseScope, OneEndTooManyIsLeftAlone) {
  const Counted counted;
  counted.handOut();
  ReleaseScope::end();
  EXPECT_TRUE(counted.held());
  handOutAnother();
}

TEST(ReleaseScope, EachThreadHasItsOwn) {
  const Counted here;
  const Counted there;
  ReleaseScope::begin();
  here.handOut();
  std::thread([&] {
    ReleaseScope::end();  // closes nothing of the other thread
    there.handOut();
    EXPECT_TRUE(there.held());
  }).join();
  EXPECT_FALSE(there.held());  // the thread ended
  EXPECT_TRUE(here.held());
  ReleaseScope::end();
  EXPECT_FALSE(here.held());
}

TEST(ReleaseScope, AScopeLeftOpenEndsWithItsThread) {
  const Counted counted;
  std::thread([&] {
    ReleaseScope::begin();
    counted.handOut();
    ReleaseScope::begin();
  }).join();
  EXPECT_FALSE(counted.held());
}

TEST(ReleaseScope, NullIsLeftAlone) {
  ReleaseScope::begin();
  EXPECT_EQ(ReleaseScope::adopt(nullptr), nullptr);
  ReleaseScope::end();
}

}  // namespace
}  // namespace sifterra::platform
