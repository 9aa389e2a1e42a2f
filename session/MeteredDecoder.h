// Stands between the chain and a clip's decoder: measures the time of every call, counts the pictures
// that could not be read, and lets the host ask about the stream while a node's worker reads.
//
// Units:    seconds.
// Owns:     one reference to the decoder.
// Threads:  any; interfaces handed out that are the decoder's own are not made safe by this.
// Locks:    one, held while the decoder, which takes one caller at a time, is called; so before those
//           of the media file and its readers.
// Errors:   creates none; the decoder's results are returned unchanged.
#pragma once

#include <atomic>
#include <cstdint>

#include "kiv/base/Mutex.h"
#include "kiv/platform/Media.h"

namespace kiv::session {

class MeteredDecoder : public IKivMediaDecoder, public IKivDecoderSize, public IKivFrameSeek {
 public:
  static KivComPtr<MeteredDecoder> Make(KivComPtr<IKivMediaDecoder> decoder);

  double Seconds() const { return static_cast<double>(nanoseconds_.load()) * 1e-9; }
  int32_t UnreadPictures() const { return unread_; }
  // Pictures were asked for and not one came.
  bool ReadNothing() const { return unread_ > 0 && read_ == 0; }
  KivDecoderStats Stats();
  // When a frame of the clip is shown; false for a frame that it does not have.
  bool TimeOf(int32_t index, int64_t* time, int64_t* duration);

  // Interfaces that this class does not have are asked of the decoder: that may be done at any time.
  HRESULT QueryInterface(const GUID& iid, void** object) override KIV_NO_THREAD_ANALYSIS;
  uint32_t AddRef() override { return ++references_; }
  uint32_t Release() override;

  int64_t GetCurrentTime() override;
  HRESULT Seek(int64_t time, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  HRESULT SetProxyOff(bool off) override;
  HRESULT SetProxyPath(const wchar_t* path) override;
  HRESULT ReadCurrentFrame(KivComPtr<IKivFrame>* frame) override;

  HRESULT SetOutputSize(const KivSize* size) override;
  HRESULT GetSourceSize(KivSize* size) override;

  HRESULT SeekFrame(int32_t index, const KivRational* rate, int32_t mode) override;

 private:
  explicit MeteredDecoder(KivComPtr<IKivMediaDecoder> decoder);
  virtual ~MeteredDecoder() = default;

  std::atomic<uint32_t> references_{1};
  Mutex lock_;
  const KivComPtr<IKivMediaDecoder> decoder_ KIV_PT_GUARDED_BY(lock_);
  const KivComPtr<IKivDecoderSize> size_ KIV_PT_GUARDED_BY(lock_);
  const KivComPtr<IKivStreamInfo> stream_ KIV_PT_GUARDED_BY(lock_);
  const KivComPtr<IKivFrameSeek> frames_ KIV_PT_GUARDED_BY(lock_);
  std::atomic<int64_t> nanoseconds_{0};
  std::atomic<int32_t> unread_{0};
  std::atomic<int32_t> read_{0};
};

}  // namespace kiv::session
