// A media source that records what it is asked and hands out a decoder.
#pragma once

#include <string>

#include "test/support/FakeDecoder.h"

namespace test {

// Calls read "Open <location>" and "GetVideoStream 0".
class FakeMediaSource : public kiv::CountedObject<IKivMediaSource> {
 public:
  static KivComPtr<FakeMediaSource> Make() {
    return KivComPtr<FakeMediaSource>::Adopt(new FakeMediaSource);
  }
  HRESULT Open(const wchar_t* location, int32_t /*flags*/) override {
    return log.Add("Open " + KivCommon::WChar2Char(location), openResult);
  }
  HRESULT GetVideoStream(int32_t index, IKivMediaDecoder** out) override {
    log.Add("GetVideoStream " + std::to_string(index));
    *out = KivComPtr<IKivMediaDecoder>(decoder).Detach();
    return decoder ? S_OK : E_FAIL;
  }

  CallLog log;
  HRESULT openResult = S_OK;
  KivComPtr<FakeDecoder> decoder = FakeDecoder::Make();
};

}  // namespace test
