// Keeps exceptions inside: every interface slot that can throw runs its body through here.
#pragma once

#include <new>
#include <utility>

#include "kiv/base/ThreadAnnotations.h"
#include "kiv/values/ResultCodes.h"

// Runs `body`, which returns a result code. std::bad_alloc gives E_OUTOFMEMORY, any
// other exception E_FAIL. A body that needs a lock says so itself.
template <typename Body>
HRESULT AtBoundary(Body&& body) noexcept KIV_NO_THREAD_ANALYSIS {
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

// For slots that return something else than a result code: `fallback` is returned instead.
template <typename Result, typename Body>
Result AtBoundaryOr(Result fallback, Body&& body) noexcept KIV_NO_THREAD_ANALYSIS {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return fallback;
  }
}
