// A filter and its manager that record what they are asked.
#pragma once

#include <cstdint>
#include <string>

#include "engine/registry/ClassIds.h"
#include "engine/registry/ClassRegistry.h"
#include "kiv/platform/Filters.h"
#include "kiv/platform/Properties.h"
#include "test/support/CallLog.h"
#include "test/support/Frames.h"

namespace test {

// Calls read "SetRects", "SetRunMode 0", "SetInputCount 1", "SetFirstInput 5", "SetSecondInput",
// "SetSecondInput null", "Run 640x360", "ReadOutput".
class FakeFilter : public kiv::CountedObject<IKivCGFilter> {
 public:
  static KivComPtr<FakeFilter> Make() { return KivComPtr<FakeFilter>::Adopt(new FakeFilter); }

  // Answers `bag` for IKivProperties when there is one.
  HRESULT QueryInterface(const GUID& iid, void** object) override {
    if (iid == IKivProperties::kIid && bag) return bag->QueryInterface(iid, object);
    return CountedObject::QueryInterface(iid, object);
  }
  HRESULT SetSecondInput(IKivFrame* frame) override {
    return log.Add(frame ? "SetSecondInput" : "SetSecondInput null");
  }
  HRESULT SetFirstInput(IKivFrame* frame) override {
    const int32_t number = NumberIn(KivComPtr<IKivFrame>(frame));
    return log.Add("SetFirstInput " + std::to_string(number));
  }
  HRESULT SetInputCount(int32_t value) override {
    return log.Add("SetInputCount " + std::to_string(value));
  }
  HRESULT SetRunMode(int32_t value) override {
    return log.Add("SetRunMode " + std::to_string(value));
  }
  HRESULT SetRects(const KivRectF* second, const KivRectF* first) override {
    secondRect = *second;
    firstRect = *first;
    return log.Add("SetRects");
  }
  HRESULT Run(const KivSize* size) override {
    const std::string width = std::to_string(size->width);
    return log.Add("Run " + width + "x" + std::to_string(size->height), runResult);
  }
  // Fills the frame with `fill`.
  HRESULT ReadOutput(IKivFrame* frame) override {
    if (frame && Succeeded(readResult)) frame->GetBitmap()->Fill(fill);
    return log.Add("ReadOutput", readResult);
  }
  HRESULT CommitParameters() override { return log.Add("CommitParameters"); }

  CallLog log;
  HRESULT runResult = S_OK;
  HRESULT readResult = S_OK;
  uint32_t fill = 0;
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
  HRESULT CreateFilter(IKivCGDevice* /*device*/, const wchar_t* guid,
                       KivComPtr<IKivCGFilter>* out) override {
    *out = filter;
    return log.Add("CreateFilter " + KivCommon::WChar2Char(guid), result);
  }

  CallLog log;
  HRESULT result = S_OK;
  KivComPtr<IKivCGFilter> filter;
};

// Makes `object` the answer to every request for `classId` while it lives; null answers with
// E_NOINTERFACE, as if there were no such class.
class SwappedClass {
 public:
  SwappedClass(const GUID& classId, IUnknown* object)
      : object_(object), swapped_(classId, [object](IUnknown*, const GUID& iid, void** out) {
          *out = nullptr;
          return object ? object->QueryInterface(iid, out) : E_NOINTERFACE;
        }) {}

 private:
  KivComPtr<IUnknown> object_;
  kiv::ScopedClass swapped_;
};

}  // namespace test
