// A decoder that records what it is asked. Its frames show the number of the frame at the position.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kiv/platform/Media.h"
#include "test/support/CallLog.h"
#include "test/support/Frames.h"

namespace test {

// Calls read "Seek 400000 mode 1", "Skip 3", "GetCurrentTime", "SetProxyOff 1", "SetProxyPath p",
// "ReadCurrentFrame", "SetOutputSize 640x360", "GetSourceSize".
class FakeDecoder : public kiv::CountedObject<IKivMediaDecoder, IKivDecoderSize> {
 public:
  static KivComPtr<FakeDecoder> Make() { return KivComPtr<FakeDecoder>::Adopt(new FakeDecoder); }

  HRESULT QueryInterface(const GUID& iid, void** object) override {
    const bool hidden = iid == IKivDecoderSize::kIid && !answersSize;
    return CountedObject::QueryInterface(hidden ? GUID{} : iid, object);
  }
  int64_t GetCurrentTime() override {
    log.Add("GetCurrentTime");
    return time;
  }
  HRESULT Seek(int64_t wanted, int32_t mode) override {
    log.Add("Seek " + std::to_string(wanted) + " mode " + std::to_string(mode));
    if (Succeeded(seekResult)) time = wanted;
    return seekResult;
  }
  HRESULT Skip(int32_t count, int32_t* moved) override {
    log.Add("Skip " + std::to_string(count));
    if (Failed(skipResult)) return skipResult;
    time += count * kTicksPerFrame;
    if (moved) *moved = time <= lastTime ? count : 0;
    return skipResult;
  }
  HRESULT SetProxyOff(bool off) override {
    return log.Add(off ? "SetProxyOff 1" : "SetProxyOff 0", proxyResult);
  }
  HRESULT SetProxyPath(const wchar_t* path) override {
    return log.Add("SetProxyPath " + KivCommon::WChar2Char(path), proxyResult);
  }
  HRESULT ReadCurrentFrame(KivComPtr<IKivFrame>* out) override {
    log.Add("ReadCurrentFrame");
    if (Failed(readResult)) return readResult;
    *out = frame ? *frame : MakeFrame(static_cast<int32_t>(time / kTicksPerFrame));
    return readResult;
  }
  HRESULT SetOutputSize(const KivSize* size) override {
    const std::string width = std::to_string(size->width);
    return log.Add("SetOutputSize " + width + "x" + std::to_string(size->height));
  }
  HRESULT GetSourceSize(KivSize* size) override {
    *size = {1920, 1080};
    return log.Add("GetSourceSize");
  }

  IUnknown* AsUnknown() { return static_cast<IKivMediaDecoder*>(this); }
  uint32_t References() { return AddRef(), Release(); }

  static constexpr int64_t kTicksPerFrame = 400000;
  CallLog log;
  HRESULT seekResult = S_OK;
  HRESULT skipResult = S_OK;
  HRESULT readResult = S_OK;
  HRESULT proxyResult = S_OK;
  bool answersSize = true;
  int64_t time = 0;
  int64_t lastTime = INT64_MAX;  // of a frame
  // Answered, even when it is none, in place of one that shows its number.
  std::optional<KivComPtr<IKivFrame>> frame;
};

}  // namespace test
