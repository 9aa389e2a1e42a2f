// The stabilizer algorithm as an object: analysis on one side, correction on the other.
//
// Owns:     copies of all that it is given; the corrections of one level are kept.
// Threads:  any.
// Locks:    two, one for each side; Begin and ReleaseState take both, the analysis' first.
// Errors:   as IKivStabilizerAlgorithm.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "engine/base/CountedObject.h"
#include "engine/motion/CameraPath.h"
#include "engine/motion/MotionAnalyser.h"
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

  HRESULT SkipToLocked(int32_t index);
  HRESULT FindCorrection(int32_t index, int32_t level, Correction* found, KivSize* sourceSize);

  std::mutex analysisLock_;
  KivSize analysisSize_;
  std::unique_ptr<MotionAnalyser> analyser_;
  int32_t firstIndex_ = 0;

  std::mutex dataLock_;
  KivSize sourceSize_;
  StabData data_;
  std::optional<Plan> plan_;
};

// The creation function of kStabilizerAlgorithmClassId.
HRESULT CreateStabilizerAlgorithmObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
