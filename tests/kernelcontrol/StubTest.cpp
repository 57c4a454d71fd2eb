// Tests of the stub itself: what cannot happen between making and freeing one, and lack of memory.
#include "kernelcontrol/stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "kernelcontrol/RecordingControl.h"

namespace {

bool outOfMemory = false;

}  // namespace

// The one form by which stubs are made. What it hands out must be freed by its own kind.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return outOfMemory ? nullptr : std::malloc(size);
}
void* operator new(std::size_t size) {
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace sifterra {
namespace {

using testing::IsEmpty;

template <class Call>
std::string printedBy(const Call& call) {
  testing::internal::CaptureStdout();
  call();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(Stub, NeedsAPlaceForIt) {
  RecordingControl control;
  EXPECT_EQ(printedBy([] { EXPECT_EQ(StubCreate(nullptr), 1); }), "_StubCreate error: stub is NULL\n");
  EXPECT_THAT(control.calls, IsEmpty());
}

TEST(Stub, IsNullAfterAFailure) {
  RecordingControl control;
  control.socketError = EMFILE;
  ThornwickStub other{1, 5};
  ThornwickStub* stub = &other;
  testing::internal::CaptureStderr();
  EXPECT_EQ(StubCreate(&stub), 1);
  EXPECT_EQ(stub, nullptr);
  testing::internal::GetCapturedStderr();
}

TEST(Stub, HoldsTheConnectedSocket) {
  RecordingControl control;
  ThornwickStub* stub = nullptr;
  ASSERT_EQ(StubCreate(&stub), 0);
  EXPECT_EQ(sizeof *stub, 8U);
  EXPECT_EQ(stub->valid, 1);
  EXPECT_EQ(stub->socket, 100);
  EXPECT_EQ(StubFree(stub), 0);
  EXPECT_EQ(control.calls.back(), "close 100");
}

TEST(Stub, ClosesTheSocketWhenThereIsNoMemoryForIt) {
  RecordingControl control;
  ThornwickStub* stub = nullptr;
  const std::string printed = printedBy([&] {
    outOfMemory = true;
    EXPECT_EQ(StubCreate(&stub), 1);
    outOfMemory = false;
  });
  EXPECT_EQ(printed, "_StubCreate error: stub couldn't be allocated\n");
  EXPECT_EQ(stub, nullptr);
  EXPECT_EQ(control.calls.back(), "close 100");
}

TEST(Stub, NullIsNotFreed) {
  EXPECT_EQ(printedBy([] { EXPECT_EQ(StubFree(nullptr), 1); }), "_StubFree error: stub is NULL\n");
}

TEST(Stub, NullAndInvalidOnesTakeNoCall) {
  RecordingControl control;
  const ThornwickStub freed{0, 100};
  for (const ThornwickStub* stub : {static_cast<const ThornwickStub*>(nullptr), &freed}) {
    std::uint32_t value = 9;
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(StubSetValueForType(stub, &value, 4, 1), 1); }),
              "_StubSetValueForType error: stub is NULL or not valid\n");
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(StubGetUserForType(stub, &value), 1); }),
              "_StubGetUserForType error: stub is NULL or not valid\n");
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(StubGetProxyAddress(stub, &value, 4, 2), 1); }),
              "_StubGetProxyAddress error: stub is NULL or not valid\n");
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(StubTellAddressForType(stub, nullptr, 5), 1); }),
              "_StubTellAddressForType error: stub is NULL or not valid\n");
  }
  EXPECT_THAT(control.calls, IsEmpty());
}

}  // namespace
}  // namespace sifterra
