// Frames that show which one they are: every pixel is the frame's number.
#pragma once

#include <cstdint>

#include "engine/common/CountedObject.h"
#include "kiv/platform/Frame.h"

namespace test {

KivComPtr<IKivFrame> MakeFrame(int32_t number, const KivSize& size = {4, 2});
// Answers every query and holds no picture.
KivComPtr<IKivFrame> MakeEmptyFrame();
// The number in a frame's pixels; -1 without a picture or when the pixels differ.
int32_t NumberIn(const KivComPtr<IKivFrame>& frame);

KivSize SizeOf(const KivComPtr<IKivFrame>& frame);
int32_t IndexOf(const KivComPtr<IKivFrame>& frame);

// A frame that has a picture and no index: it answers IKivFrame only.
class PlainFrame : public kiv::CountedObject<IKivFrame> {
 public:
  HRESULT SetTime(int64_t presentationTime, int64_t duration) override;
  HRESULT GetTime(int64_t* presentationTime, int64_t* duration) override;
  HRESULT GetDescription(KivFrameDescription* description) override;
  void* GetPixels() override { return picture_->GetPixels(); }
  HRESULT CopyFrom(IKivFrame* source) override { return picture_->CopyFrom(source); }
  IKivBitmap* GetBitmap() override { return picture_->GetBitmap(); }

 private:
  KivComPtr<IKivFrame> picture_ = MakeFrame(0);
};

}  // namespace test
