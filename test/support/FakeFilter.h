// A filter and its manager that record what they are asked.
#pragma once

#include <cstdint>
#include <string>

#include "engine/common/ClassIds.h"
#include "engine/common/ClassRegistry.h"
#include "engine/common/CountedObject.h"
#include "kiv/platform/Filters.h"
#include "kiv/platform/Properties.h"
#include "test/support/CallLog.h"

namespace test {

// Calls read "SetRects", "SetRunMode 0", "SetInputCount 1", "SetFirstInput", "SetSecondInput",
// "SetSecondInput null", "Run 640x360", "ReadOutput".
class FakeFilter : public kiv::CountedObject<IKivCGFilter> {
 public:
  static KivComPtr<FakeFilter> Make() { return KivComPtr<FakeFilter>::Adopt(new FakeFilter); }
  FakeFilter();

  // Answers `bag` for IKivProperties when there is one.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  HRESULT SetSecondInput(IKivFrame* frame) override;
  HRESULT SetFirstInput(IKivFrame* frame) override;
  HRESULT SetInputCount(int32_t value) override;
  HRESULT SetRunMode(int32_t value) override;
  HRESULT SetRects(const KivRectF* second, const KivRectF* first) override;
  HRESULT Run(const KivSize* outputSize) override;
  // Fills the frame with `fill`.
  HRESULT ReadOutput(IKivFrame* frame) override;
  HRESULT CommitParameters() override;

  CallLog log;
  HRESULT runResult = S_OK;
  HRESULT readResult = S_OK;
  uint32_t fill = 0;
  int32_t firstInputNumber = -1;
  KivRectF firstRect;
  KivRectF secondRect;
  KivComPtr<IKivProperties> bag;
};

// Answers CreateFilter with `filter` and `result`; calls read "CreateFilter <guid>".
class FakeFilterManager : public kiv::CountedObject<IKivCGFilterManager> {
 public:
  static KivComPtr<FakeFilterManager> Make() {
    return KivComPtr<FakeFilterManager>::Adopt(new FakeFilterManager);
  }
  FakeFilterManager();

  HRESULT CreateFilter(IKivCGDevice* device, const wchar_t* guid,
                       KivComPtr<IKivCGFilter>* out) override;

  CallLog log;
  HRESULT result = S_OK;
  KivComPtr<IKivCGFilter> filter;
};

// Makes `object` the answer to every request for `classId` while it lives; null answers with
// E_NOINTERFACE, as if there were no such class.
class SwappedClass {
 public:
  SwappedClass(const GUID& classId, IUnknown* object);

 private:
  KivComPtr<IUnknown> object_;
  kiv::ScopedClass swapped_;
};

}  // namespace test
