// A decoder that records what it is asked. Its frames show the number of the frame at the position.
#pragma once

#include <cstdint>
#include <string>

#include "engine/common/CountedObject.h"
#include "kiv/platform/Media.h"
#include "test/support/CallLog.h"

namespace test {

// Calls read "Seek 400000 mode 1", "Skip 3", "GetCurrentTime", "SetProxyOff 1", "SetProxyPath p",
// "ReadCurrentFrame", "SetOutputSize 640x360", "GetSourceSize".
class FakeDecoder : public kiv::CountedObject<IKivMediaDecoder, IKivDecoderSize> {
 public:
  static KivComPtr<FakeDecoder> Make() { return KivComPtr<FakeDecoder>::Adopt(new FakeDecoder); }
  FakeDecoder();

  HRESULT QueryInterface(const GUID& iid, void** object) override;
  int64_t GetCurrentTime() override;
  HRESULT Seek(int64_t time, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  HRESULT SetProxyOff(bool off) override;
  HRESULT SetProxyPath(const wchar_t* path) override;
  HRESULT ReadCurrentFrame(KivComPtr<IKivFrame>* out) override;
  HRESULT SetOutputSize(const KivSize* size) override;
  HRESULT GetSourceSize(KivSize* size) override;

  IUnknown* AsUnknown() { return static_cast<IKivMediaDecoder*>(this); }
  uint32_t References();

  CallLog log;
  HRESULT seekResult = S_OK;
  HRESULT skipResult = S_OK;
  HRESULT readResult = S_OK;
  HRESULT proxyResult = S_OK;
  bool answersSize = true;
  KivSize sourceSize{1920, 1080};
  int64_t ticksPerFrame = 400000;
  int64_t time = 0;
  // Without one, each read makes a frame that shows its number.
  KivComPtr<IKivFrame> frame;
  bool makesFrames = true;
};

}  // namespace test
