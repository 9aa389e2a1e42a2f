#include "test/support/FakeFilter.h"

#include "kiv/platform/KivCommon.h"
#include "test/support/Frames.h"
#include "test/support/Ledger.h"

namespace test {

FakeFilter::FakeFilter() { UseLedger(); }

HRESULT FakeFilter::QueryInterface(const GUID& iid, void** object) {
  if (iid == IKivProperties::kIid && bag) return bag->QueryInterface(iid, object);
  return CountedObject::QueryInterface(iid, object);
}

HRESULT FakeFilter::SetSecondInput(IKivFrame* frame) {
  log.Add(frame ? "SetSecondInput" : "SetSecondInput null");
  return S_OK;
}

HRESULT FakeFilter::SetFirstInput(IKivFrame* frame) {
  log.Add("SetFirstInput");
  firstInputNumber = NumberIn(KivComPtr<IKivFrame>(frame));
  return S_OK;
}

HRESULT FakeFilter::SetInputCount(int32_t value) {
  log.Add("SetInputCount", value);
  return S_OK;
}

HRESULT FakeFilter::SetRunMode(int32_t value) {
  log.Add("SetRunMode", value);
  return S_OK;
}

HRESULT FakeFilter::SetRects(const KivRectF* second, const KivRectF* first) {
  log.Add("SetRects");
  secondRect = *second;
  firstRect = *first;
  return S_OK;
}

HRESULT FakeFilter::Run(const KivSize* outputSize) {
  log.Add("Run " + std::to_string(outputSize->width) + "x" + std::to_string(outputSize->height));
  return runResult;
}

HRESULT FakeFilter::ReadOutput(IKivFrame* frame) {
  log.Add("ReadOutput");
  if (frame && Succeeded(readResult)) frame->GetBitmap()->Fill(fill);
  return readResult;
}

HRESULT FakeFilter::CommitParameters() {
  log.Add("CommitParameters");
  return S_OK;
}

FakeFilterManager::FakeFilterManager() { UseLedger(); }

HRESULT FakeFilterManager::CreateFilter(IKivCGDevice* /*device*/, const wchar_t* guid,
                                        KivComPtr<IKivCGFilter>* out) {
  log.Add("CreateFilter " + KivCommon::WChar2Char(guid));
  *out = filter;
  return result;
}

SwappedClass::SwappedClass(const GUID& classId, IUnknown* object)
    : object_(object), swapped_(classId, [object](IUnknown*, const GUID& iid, void** out) {
        *out = nullptr;
        return object ? object->QueryInterface(iid, out) : E_NOINTERFACE;
      }) {}

}  // namespace test
