// The one place where exceptions end: interface methods that can throw run inside AtBoundary.
#pragma once

#include <new>
#include <utility>

#include "kiv/values/ResultCodes.h"

namespace kiv {

template <typename Body>
HRESULT AtBoundary(Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

}  // namespace kiv
