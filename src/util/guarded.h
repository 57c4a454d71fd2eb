// guarded.h: keeps C++ exceptions inside the library.
//
//   return guarded(kOp, nullptr, [&] { return make(content); });
//   guarded(kOp, [&] { store(value); });
#pragma once

#include <exception>
#include <utility>

#include "util/log.h"

namespace sifterra {

// Writes "<op> -- Caught exception: <what>"; when even that fails, nothing.
void logCaughtException(const char* op, const char* what) noexcept;

// The answer of `work`, or `fallback` with a line in the log when it throws. The fallback decides the
// type when the two differ, so that nullptr and 0 need no cast on the other side.
template <class Result, class Work>
[[nodiscard]] Result guarded(const char* op, Result fallback, Work&& work) noexcept {
  try {
    return std::forward<Work>(work)();
  } catch (const std::exception& failure) {
    logCaughtException(op, failure.what());
  } catch (...) {
    logCaughtException(op, "unknown");
  }
  return fallback;
}

template <class Work>
void guarded(const char* op, Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
  } catch (const std::exception& failure) {
    logCaughtException(op, failure.what());
  } catch (...) {
    logCaughtException(op, "unknown");
  }
}

}  // namespace sifterra
