// The stabilizer algorithm as an object: analysis on one side, correction on the other.
//
// Owns:     copies of all that it is given; the corrections of one level are kept.
// Threads:  any.
// Locks:    two, one for each side; Begin and ReleaseState take both, the analysis' first.
// Errors:   as IKivStabilizerAlgorithm.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "engine/base/CountedObject.h"
#include "engine/motion/CameraPath.h"
#include "engine/motion/MotionAnalyser.h"
#include "kiv/base/Mutex.h"
#include "kiv/platform/Stabilizer.h"

namespace kiv {

class CStabilizerAlgorithm final : public CountedObject<IKivStabilizerAlgorithm> {
 public:
  HRESULT Begin(const KivSize* frameSize) override;
  HRESULT StartAnalysis() override;
  HRESULT AnalyseFrame(IKivFrame* frame, int32_t index) override;
  HRESULT CollectResult(StabData* result) override;
  HRESULT SetData(const StabData* data) override;
  HRESULT CorrectFrame(IKivFrame* input, IKivFrame* output, int32_t index, int32_t level) override;
  HRESULT ReleaseState() override;

 private:
  // What corrects the frames of one level.
  struct Plan {
    int32_t level = 0;
    std::vector<Correction> corrections;
  };

  void ForgetLocked(const KivSize& size) KIV_REQUIRES(analysisLock_, dataLock_);
  HRESULT SkipToLocked(int32_t index) KIV_REQUIRES(analysisLock_);
  HRESULT FindCorrection(int32_t index, int32_t level, Correction* found, KivSize* sourceSize);

  // Held while a frame is analysed; taken before dataLock_.
  Mutex analysisLock_;
  KivSize analysisSize_ KIV_GUARDED_BY(analysisLock_);
  std::unique_ptr<MotionAnalyser> analyser_ KIV_GUARDED_BY(analysisLock_);
  int32_t firstIndex_ KIV_GUARDED_BY(analysisLock_) = 0;

  Mutex dataLock_;
  KivSize sourceSize_ KIV_GUARDED_BY(dataLock_);
  StabData data_ KIV_GUARDED_BY(dataLock_);
  std::optional<Plan> plan_ KIV_GUARDED_BY(dataLock_);
};

// The creation function of kStabilizerAlgorithmClassId.
HRESULT CreateStabilizerAlgorithmObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
