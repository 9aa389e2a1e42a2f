// The head of every chain: turns a decoder into the node protocol.
#pragma once

#include <cstdint>

#include "kiv/base/Locks.h"
#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"
#include "kiv/platform/Media.h"

// Keeps the frame index, positions the decoder, by number if it can and else in time, and writes the
// index into its frames. A decoder that arrives later is brought to the position before its first use;
// before the first move it is read where it stands. Position -1 after a move is the one before the
// first frame, for the decoder too.
//
// Units:    frame index int32, -1 = none; time int64 in 100 ns.
// Owns:     the decoder.
// Threads:  any: a frame cache's worker reads while the host sends commands.
// Locks:    lock_ comes after every other node's lock; the decoder is called with it held.
// Errors:   none from the decoder: a failed read is logged and gives status 1, a failed skip or
//           seek is taken as done.
class CStreamer : public CSourceBase {
 public:
  explicit CStreamer(IUnknown* outer);

  // Null detaches.
  virtual HRESULT SetDecoder(IKivMediaDecoder* decoder);
  // A frame without an index, and no frame, is left alone.
  virtual void SetFrameIndex(IKivFrame* frame, int32_t index);
  virtual void SetFrameTime(IKivFrame* frame, int32_t index, const KivRational& rate);
  virtual int64_t FrameToTime(int32_t index);

  // `time` receives the decoder's time, or the index's without a decoder.
  int32_t GetPosition(int64_t* time) override;
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;

 protected:
  SimpleSync::CSimpleMutex lock_;
  KivRational frameRate_ KIV_GUARDED_BY(lock_){25, 1};
  KivComPtr<IKivMediaDecoder> decoder_ KIV_GUARDED_BY(lock_);
  // The decoder stands where the position says: it is no new one, and the rate is no new one.
  bool decoderIsPlaced_ KIV_GUARDED_BY(lock_) = false;

 private:
  void PlaceDecoderLocked() KIV_REQUIRES(lock_);
  HRESULT OnSetDecoder(const CommandArgs& args);
  void SeekDecoderLocked(int32_t frame, int32_t mode) KIV_REQUIRES(lock_);
};
