// The interpolation algorithm that the factory makes: keeps two key frames and answers the frames
// between them.
//
// Units:    indices as CVAlgorithm says.
// Owns:     copies of the key frames, in pooled memory; itself, until Destroy.
// Threads:  one caller at a time.
// Errors:   E_INVALIDARG for a size or index that does not fit, E_FAIL without a pair,
//           E_OUTOFMEMORY; what was to be written is then left alone.
#pragma once

#include "engine/memory/BufferPool.h"
#include "engine/tween/TweenMaker.h"
#include "kiv/platform/Algorithms.h"

namespace kiv::tween {

class TweenAlgorithm final : public CVAlgorithm {
 public:
  explicit TweenAlgorithm(RowPool& pool) : maker_(pool) {}

  void Destroy(int32_t release) override;
  XDictionary* Parameters() override { return &parameters_; }
  bool Commit() override;
  bool WantsInput() override { return held_ < 2 || finished_; }
  int32_t Push(const void* pixels, int32_t width, int32_t height, int32_t bytesPerPixel,
               int32_t reserved1, int32_t reserved2) override;
  int32_t Read(void* pixels, int32_t width, int32_t height, int32_t bytesPerPixel, int32_t index,
               int32_t reserved1, int32_t reserved2) override;
  int32_t Start(int32_t) override { return S_OK; }

 private:
  ~TweenAlgorithm() = default;

  HRESULT Take(const void* pixels, const KivSize& size);
  HRESULT Answer(void* pixels, int32_t index);

  XDictionary parameters_;
  const FrameInterpolationParams* params_ = nullptr;
  TweenMode mode_ = TweenMode::kFlow;
  KivSize size_;
  PooledBuffer older_, newer_;
  int held_ = 0;
  bool finished_ = false;
  TweenMaker maker_;
};

}  // namespace kiv::tween
