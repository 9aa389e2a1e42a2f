// The task that measures a clip's camera motion in the background, and keeps what it measured.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "kiv/VideoStab/IKivStabExtendControl.h"
#include "kiv/VideoStab/StabStoredData.h"
#include "kiv/base/Locks.h"
#include "kiv/object/ObjectBase.h"
#include "kiv/platform/Media.h"
#include "kiv/platform/Stabilizer.h"
#include "kiv/platform/Tasks.h"

// Contained in the stabilizer node, its outer object, on which references to it count.
//
// Units:    source frames and source pixels; time int64 in 100 ns.
// Owns:     the algorithm and, during a run, the open stream.
// Threads:  any. A run has its own thread (see CKivTaskable). Frames are not corrected meanwhile;
//           afterwards their callers' threads correct them.
// Locks:    lock_, after the node's; nothing is called with it held, and a run is never waited for
//           with it held.
// Errors:   a run that cannot begin is refused and says why in the log. Loading refuses with
//           E_INVALIDARG and changes nothing.
class CKivVideoStabExtendControl final : public scombase::CUnknown,
                                         public CKivTaskable,
                                         public IKivStabExtendControl {
 public:
  explicit CKivVideoStabExtendControl(IUnknown* outer);
  ~CKivVideoStabExtendControl() override;

  KIV_DELEGATE_UNKNOWN
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;

  // Both interfaces' slots, by CKivTaskable.
  HRESULT Initialize(uint32_t taskId, IKivTaskDelegate* delegate, void* context) override;
  uint32_t GetTaskID() override;
  HRESULT Start() override;
  HRESULT Pause() override;
  HRESULT Resume() override;
  HRESULT Stop() override;
  enumTaskState GetTaskState() override;

  HRESULT SetCallback(StabCallback callback, void* context) override;

  int32_t onStart() override;
  void onProcess(KivTaskProgress* progress) override;
  void onComplete() override;
  void onStop() override;

  // S_FALSE without data. What is loaded replaces what there is; a result or a run it replaces only
  // when it fits its own range.
  HRESULT LoadData(IKivProperties* bag);
  // S_FALSE, with nothing written, unless finished with data.
  HRESULT SaveData(IKivProperties* bag);

  // What the next run analyses, or what adopted data are for.
  void SetAnalysisSettings(const StabSettings& settings);
  void SetEnable(int32_t enable);
  // Adopts the stored entries as the task's result if their number is that of the settings' range,
  // within kAdoptTolerance.
  void AdoptStoredData();
  void ClearData();

  // The source's size, for a result that was stored without: its shifts are in pixels of that size.
  void SupplySize(const KivSize& size);

  // Whether the result is for these settings; whether the run under way is.
  bool HasResultFor(const StabSettings& settings) const;
  bool IsAnalysing(const StabSettings& settings) const;
  // Whether the result is for the same stream of the same file.
  bool HasResultOfStream(const StabSettings& settings) const;

  // Enabled, finished and not busy.
  bool CanCorrect();
  // E_NOTREADY without entries or algorithm.
  HRESULT Correct(IKivFrame* input, IKivFrame* output, int32_t index, int32_t level);

  static constexpr int64_t kAdoptTolerance = 3;

 private:
  struct TimeRange {
    int64_t start = 0, end = 0;
  };
  struct Callback {
    StabCallback function = nullptr;
    void* context = nullptr;
  };
  // What the steps of a run work on.
  struct Run {
    KivComPtr<IKivMediaDecoder> stream;
    KivComPtr<IKivStabilizerAlgorithm> algorithm;
    KivComPtr<IKivFrame> frame;  // to begin with
    bool IsWhole() const { return stream && algorithm; }
  };

  StabSettings AnalysisSettings() const;
  KivComPtr<IKivStabilizerAlgorithm> Algorithm() const;
  Run CurrentRun() const;

  bool BeginRun(const StabSettings& settings, Run* run);
  void AnalyseNext(KivTaskProgress* progress);
  void KeepFrame(KivComPtr<IKivFrame> frame);
  void DropStream();
  int64_t PercentDone(IKivMediaDecoder& stream) const;
  // The last thing that a function of the task does: the callback may end the task.
  void Tell(StabCallbackState state, int64_t percent);

  bool TakeStoredData();
  static bool FitsRange(const StabStoredData& data);
  HRESULT Install(StabStoredData loaded);

  mutable SimpleSync::CSimpleMutex lock_;
  Callback callback_ KIV_GUARDED_BY(lock_);
  StabSettings analysisSettings_ KIV_GUARDED_BY(lock_);
  StabSettings runSettings_ KIV_GUARDED_BY(lock_);  // of the run under way or the adopted data
  KivComPtr<IKivStabilizerAlgorithm> algorithm_ KIV_GUARDED_BY(lock_);
  KivComPtr<IKivMediaDecoder> stream_ KIV_GUARDED_BY(lock_);
  KivComPtr<IKivFrame> frame_ KIV_GUARDED_BY(lock_);
  StabData data_ KIV_GUARDED_BY(lock_);
  std::optional<StabSettings> dataSettings_ KIV_GUARDED_BY(lock_);

  // The run's own.
  TimeRange times_;
  int32_t counter_ = 0;
  int32_t lastFrame_ = 0;

  // Outlives the task in a function whose callback ends it.
  const std::shared_ptr<std::atomic<int32_t>> running_;
};
