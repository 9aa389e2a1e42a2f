#include "test/support/FakeDecoder.h"

#include <string>

#include "kiv/platform/KivCommon.h"
#include "test/support/Frames.h"
#include "test/support/Ledger.h"

namespace test {

FakeDecoder::FakeDecoder() { UseLedger(); }

HRESULT FakeDecoder::QueryInterface(const GUID& iid, void** object) {
  if (iid == IKivDecoderSize::kIid && !answersSize) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  return CountedObject::QueryInterface(iid, object);
}

int64_t FakeDecoder::GetCurrentTime() {
  log.Add("GetCurrentTime");
  return time;
}

HRESULT FakeDecoder::Seek(int64_t wanted, int32_t mode) {
  log.Add("Seek " + std::to_string(wanted) + " mode " + std::to_string(mode));
  if (Succeeded(seekResult)) time = wanted;
  return seekResult;
}

HRESULT FakeDecoder::Skip(int32_t count, int32_t* moved) {
  log.Add("Skip", count);
  if (Failed(skipResult)) return skipResult;
  time += count * ticksPerFrame;
  if (moved) *moved = count;
  return skipResult;
}

HRESULT FakeDecoder::SetProxyOff(bool off) {
  log.Add("SetProxyOff", off ? 1 : 0);
  return proxyResult;
}

HRESULT FakeDecoder::SetProxyPath(const wchar_t* path) {
  log.Add("SetProxyPath " + KivCommon::WChar2Char(path));
  return proxyResult;
}

HRESULT FakeDecoder::ReadCurrentFrame(KivComPtr<IKivFrame>* out) {
  log.Add("ReadCurrentFrame");
  if (Failed(readResult)) return readResult;
  const bool makes = !frame && makesFrames;
  *out = makes ? MakeFrame(static_cast<int32_t>(time / ticksPerFrame)) : frame;
  return readResult;
}

HRESULT FakeDecoder::SetOutputSize(const KivSize* size) {
  log.Add("SetOutputSize " + std::to_string(size->width) + "x" + std::to_string(size->height));
  return S_OK;
}

HRESULT FakeDecoder::GetSourceSize(KivSize* size) {
  log.Add("GetSourceSize");
  *size = sourceSize;
  return S_OK;
}

uint32_t FakeDecoder::References() {
  AddRef();
  return Release();
}

}  // namespace test
