// Stands between the chain and a clip's decoder: takes the time of every call and counts the
// pictures that could not be read.
//
// Units:    seconds.
// Owns:     one reference to the decoder.
// Threads:  one caller at a time; the figures may be read from any thread.
// Errors:   creates none; the decoder's results are returned unchanged.
#pragma once

#include <atomic>
#include <cstdint>

#include "kiv/platform/Media.h"

namespace host {

class MeteredDecoder : public IKivMediaDecoder, public IKivDecoderSize {
 public:
  static KivComPtr<MeteredDecoder> Make(KivComPtr<IKivMediaDecoder> decoder);

  double Seconds() const { return static_cast<double>(nanoseconds_.load()) * 1e-9; }
  int32_t UnreadPictures() const { return unread_; }
  const KivComPtr<IKivMediaDecoder>& Inner() const { return decoder_; }

  // Interfaces that this class does not have are asked of the decoder.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  uint32_t AddRef() override { return ++references_; }
  uint32_t Release() override;

  int64_t GetCurrentTime() override { return decoder_->GetCurrentTime(); }
  HRESULT Seek(int64_t time, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  HRESULT SetProxyOff(bool off) override { return decoder_->SetProxyOff(off); }
  HRESULT SetProxyPath(const wchar_t* path) override { return decoder_->SetProxyPath(path); }
  HRESULT ReadCurrentFrame(KivComPtr<IKivFrame>* frame) override;

  HRESULT SetOutputSize(const KivSize* size) override;
  HRESULT GetSourceSize(KivSize* size) override;

 private:
  explicit MeteredDecoder(KivComPtr<IKivMediaDecoder> decoder);
  virtual ~MeteredDecoder() = default;

  std::atomic<uint32_t> references_{1};
  KivComPtr<IKivMediaDecoder> decoder_;
  KivComPtr<IKivDecoderSize> size_;
  std::atomic<int64_t> nanoseconds_{0};
  std::atomic<int32_t> unread_{0};
};

}  // namespace host
