// ReleaseScope: one array of objects per thread, and the positions where its open scopes begin.
#include "platform/ReleaseScope.h"

#include <vector>

#include "sifterra/sifterra.h"

namespace sifterra::platform {
namespace {

struct Stack {
  std::vector<const void*> objects;  // oldest first
  std::vector<std::size_t> scopes;   // for each open scope, the number of objects when it began
  int calls = 0;                     // nesting of ReleaseScope::Call

  ~Stack() { dropFrom(0); }

  void dropFrom(std::size_t position) noexcept { drop(position, objects.size()); }
  void drop(std::size_t first, std::size_t last) noexcept {
    for (std::size_t i = first; i < last; ++i) WFRelease(objects[i]);
    objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(first),
                  objects.begin() + static_cast<std::ptrdiff_t>(last));
  }
};

// The pointer has no destructor, so it can still be read while the thread's other objects are being
// destroyed; a stack that is needed after its owner has gone is left to the end of the process.
thread_local Stack* threadStack = nullptr;

struct StackOwner {
  ~StackOwner() {
    delete threadStack;
    threadStack = nullptr;
  }
};

Stack& stack() {
  if (!threadStack) {
    static thread_local StackOwner owner;
    (void)owner;
    threadStack = new Stack;
  }
  return *threadStack;
}

}  // namespace

ReleaseScope::Call::Call() {
  Stack& own = stack();
  if (++own.calls == 1 && own.scopes.empty()) earlier_ = own.objects.size();
}

ReleaseScope::Call::~Call() {
  Stack& own = stack();
  --own.calls;
  own.drop(0, earlier_);
}

void ReleaseScope::begin() noexcept {
  Stack& own = stack();
  own.scopes.push_back(own.objects.size());
}

void ReleaseScope::end() noexcept {
  if (!threadStack || threadStack->scopes.empty()) return;
  const std::size_t position = threadStack->scopes.back();
  threadStack->scopes.pop_back();
  threadStack->dropFrom(position);
}

const void* ReleaseScope::adopt(const void* object) {
  if (object) stack().objects.push_back(object);
  return object;
}

}  // namespace sifterra::platform

extern "C" {

void WFReleaseScopeBegin(void) {
  sifterra::platform::ReleaseScope::begin();
}

void WFReleaseScopeEnd(void) {
  sifterra::platform::ReleaseScope::end();
}

}  // extern "C"
